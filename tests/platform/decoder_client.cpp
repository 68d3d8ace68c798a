#include "tests/platform/decoder_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <map>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"

namespace zem::test {

using android::IOMX;
using android::OK;
using android::omx_message;
using android::sp;
using android::status_t;

// Collects what the node says; copies each output and gives its buffer back at once, until a change is heard
// of.
class DecoderClient::Observer final : public android::BnOMXObserver {
  public:
    explicit Observer(const sp<IOMX>& omx) : mOmx(omx) {}

    void onMessage(const omx_message& message) override {
        std::lock_guard<std::mutex> lock(mMutex);
        if (message.type == omx_message::EMPTY_BUFFER_DONE) {
            freeInputs.push_back(message.u.buffer_data.buffer);
        } else if (message.type == omx_message::FILL_BUFFER_DONE) {
            keepOutput(message);
        } else {
            keepEvent(message);
        }
        mArrived.notify_all();
    }
    bool waitUntil(const std::function<bool()>& done) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mArrived.wait_for(lock, std::chrono::seconds(20), done);
    }
    template <typename T>
    T read(T Observer::*field) {
        std::lock_guard<std::mutex> lock(mMutex);
        return this->*field;
    }

    // Guarded by mMutex.
    std::vector<IOMX::buffer_id> freeInputs;
    std::map<IOMX::buffer_id, sp<android::IMemory>> outputMemory;
    size_t outputsOut = 0;  // with the component
    std::vector<Decoded> outputs;
    std::vector<std::string> heard;
    OMX_PARAM_PORTDEFINITIONTYPE definition{};
    OMX_U32 state = OMX_StateLoaded;
    int changes = 0;
    bool changed = false;  // not answered yet
    bool disabled = false;
    bool enabled = false;
    bool ended = false;

  private:
    void keepOutput(const omx_message& message) {
        const auto& data = message.u.extended_buffer_data;
        const auto found = outputMemory.find(data.buffer);
        if (found == outputMemory.end()) {
            ADD_FAILURE() << "unknown output " << data.buffer;
            return;
        }
        outputsOut--;
        if (data.range_length > 0 || data.flags != 0) {
            const auto* bytes = static_cast<const uint8_t*>(found->second->pointer());
            outputs.push_back({{bytes, bytes + data.range_length}, data.flags, data.timestamp});
        } else if (changes > 0) {
            heard.emplace_back("returned");
        }
        ended = ended || (data.flags & OMX_BUFFERFLAG_EOS) != 0;
        if (!changed && state == OMX_StateExecuting && mOmx->fillBuffer(message.node, data.buffer) == OK) {
            outputsOut++;
        }
    }
    void keepEvent(const omx_message& message) {
        const auto& event = message.u.event_data;
        if (event.event == OMX_EventPortSettingsChanged) {
            EXPECT_EQ(event.data1, 1u);
            changes++;
            changed = true;
            heard.emplace_back("changed");
            definition.nPortIndex = 1;
            EXPECT_EQ(mOmx->getParameter(message.node, OMX_IndexParamPortDefinition, &definition,
                                         sizeof(definition)),
                      OK);
            return;
        }
        if (event.event != OMX_EventCmdComplete) {
            ADD_FAILURE() << "event " << event.event << " " << event.data1;
            return;
        }
        if (event.data1 == OMX_CommandStateSet) {
            state = event.data2;
        } else {
            const bool enable = event.data1 == OMX_CommandPortEnable;
            heard.emplace_back(enable ? "enabled" : "disabled");
            (enable ? enabled : disabled) = true;
        }
    }

    const sp<IOMX> mOmx;
    std::mutex mMutex;
    std::condition_variable mArrived;
};

namespace {

sp<IOMX> hostOf(const char* profile) {
    EXPECT_TRUE(setChipProfile(profile));
    return makeBuiltInMediaPlayerService()->getOMX();
}

}  // namespace

DecoderClient::DecoderClient(const DecoderChip& chip)
    : omx(hostOf(chip.profile)), mObserver(new Observer(omx)) {
    EXPECT_EQ(omx->allocateNode(chip.decoder, mObserver, &node), OK);
}

DecoderClient::~DecoderClient() {
    EXPECT_EQ(omx->freeNode(node), OK);
}

OMX_PARAM_PORTDEFINITIONTYPE DecoderClient::port(OMX_U32 index) const {
    OMX_PARAM_PORTDEFINITIONTYPE definition{};
    definition.nPortIndex = index;
    EXPECT_EQ(omx->getParameter(node, OMX_IndexParamPortDefinition, &definition, sizeof(definition)), OK);
    return definition;
}

status_t DecoderClient::write(const OMX_PARAM_PORTDEFINITIONTYPE& definition) {
    return omx->setParameter(node, OMX_IndexParamPortDefinition, &definition, sizeof(definition));
}

void DecoderClient::expectSize(OMX_U32 width, OMX_U32 height) {
    OMX_PARAM_PORTDEFINITIONTYPE wanted = port(0);
    wanted.format.video.nFrameWidth = width;
    wanted.format.video.nFrameHeight = height;
    wanted.format.video.xFramerate = 24 << 16;
    ASSERT_EQ(write(wanted), OK);
}

void DecoderClient::allocate(OMX_U32 index, size_t count) {
    const OMX_PARAM_PORTDEFINITIONTYPE wanted = port(index);
    const sp<android::MemoryDealer> dealer =
        new android::MemoryDealer(count * wanted.nBufferSize, "decoder client");
    for (size_t i = 0; i < count; i++) {
        Buffer buffer{0, dealer->allocate(wanted.nBufferSize)};
        EXPECT_EQ(omx->useBuffer(node, index, buffer.memory, &buffer.id), OK);
        mBuffers[index].push_back(buffer);
    }
}

void DecoderClient::command(OMX_COMMANDTYPE kind, OMX_U32 param) {
    EXPECT_EQ(omx->sendCommand(node, kind, static_cast<OMX_S32>(param)), OK);
}

void DecoderClient::start() {
    command(OMX_CommandStateSet, OMX_StateIdle);
    allocate(0, port(0).nBufferCountActual);
    allocate(1, port(1).nBufferCountActual);
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->state == OMX_StateIdle; }));
    mObserver->waitUntil([this] {
        mObserver->ended = mObserver->changed = false;
        mObserver->outputs.clear();
        mObserver->freeInputs.clear();
        for (const Buffer& buffer : mBuffers[0]) {
            mObserver->freeInputs.push_back(buffer.id);
        }
        return true;
    });
    command(OMX_CommandStateSet, OMX_StateExecuting);
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->state == OMX_StateExecuting; }));
    fillOutputs();
}

void DecoderClient::stop() {
    command(OMX_CommandStateSet, OMX_StateIdle);
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->state == OMX_StateIdle; }));
    command(OMX_CommandStateSet, OMX_StateLoaded);
    for (const Buffer& buffer : mBuffers[0]) {
        EXPECT_EQ(omx->freeBuffer(node, 0, buffer.id), OK);
    }
    mBuffers[0].clear();
    freeOutput(SIZE_MAX);
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->state == OMX_StateLoaded; }));
}

void DecoderClient::waitAnswering(const std::function<bool()>& done) {
    bool answer = true;
    while (answer) {
        EXPECT_TRUE(mObserver->waitUntil([&] {
            answer = mObserver->changed && !done();
            return answer || done();
        }));
        if (answer) {
            answerChange();
        }
    }
}

void DecoderClient::submit(const Unit& unit, OMX_TICKS timestamp, OMX_U32 flags) {
    IOMX::buffer_id id = 0;
    ASSERT_TRUE(mObserver->waitUntil([&] {
        id = mObserver->freeInputs.front();
        mObserver->freeInputs.erase(mObserver->freeInputs.begin());
        return true;
    }));
    for (const Buffer& buffer : mBuffers[0]) {
        if (buffer.id == id) {
            ASSERT_LE(unit.size(), buffer.memory->size());
            // Behind the unit stands what no decoder may read as its end.
            memset(buffer.memory->pointer(), 0xFF, buffer.memory->size());
            if (!unit.empty()) {
                memcpy(buffer.memory->pointer(), unit.data(), unit.size());
            }
        }
    }
    ASSERT_EQ(omx->emptyBuffer(node, id, 0, static_cast<OMX_U32>(unit.size()), flags, timestamp), OK);
}

void DecoderClient::send(const Unit& unit, OMX_TICKS timestamp, OMX_U32 flags) {
    waitAnswering([this] { return !mObserver->freeInputs.empty(); });
    ASSERT_FALSE(mObserver->read(&Observer::freeInputs).empty());
    submit(unit, timestamp, flags);
}

std::vector<Decoded> DecoderClient::finish(OMX_TICKS timestamp) {
    send({}, timestamp, OMX_BUFFERFLAG_EOS);
    waitAnswering([this] { return mObserver->ended; });
    awaitInputsBack();
    std::vector<Decoded> outputs;
    mObserver->waitUntil([&] {
        mObserver->ended = false;
        outputs.swap(mObserver->outputs);
        return true;
    });
    return outputs;
}

std::vector<Decoded> DecoderClient::play(const std::vector<Unit>& packets) {
    OMX_TICKS timestamp = 0;
    for (const Unit& packet : packets) {
        send(packet, timestamp += 100);
    }
    return finish(timestamp + 100);
}

void DecoderClient::awaitChange() {
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->changed; }));
}
void DecoderClient::awaitInputsBack() {
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->freeInputs.size() == mBuffers[0].size(); }));
}

void DecoderClient::awaitPictures(size_t count) {
    EXPECT_TRUE(mObserver->waitUntil([&] { return mObserver->outputs.size() >= count; }));
}

void DecoderClient::disableOutput() {
    command(OMX_CommandPortDisable, 1);
}
void DecoderClient::awaitOutputsBack() {
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->outputsOut == 0; }));
}
void DecoderClient::freeOutput(size_t count) {
    for (; count > 0 && !mBuffers[1].empty(); count--) {
        EXPECT_EQ(omx->freeBuffer(node, 1, mBuffers[1].back().id), OK);
        mBuffers[1].pop_back();
    }
}
void DecoderClient::awaitDisabled() {
    EXPECT_TRUE(mObserver->waitUntil([this] { return mObserver->disabled; }));
}
void DecoderClient::enableOutput() {
    command(OMX_CommandPortEnable, 1);
}
void DecoderClient::allocateOutput(size_t count) {
    allocate(1, count);
}
void DecoderClient::awaitEnabled() {
    EXPECT_TRUE(mObserver->waitUntil([this] {
        const bool enabled = mObserver->enabled;
        if (enabled) {
            mObserver->enabled = mObserver->disabled = mObserver->changed = false;
        }
        return enabled;
    }));
}

// Under the observer's lock: an output may come back before fillBuffer() returns.
void DecoderClient::fillOutputs() {
    mObserver->waitUntil([this] {
        mObserver->outputMemory.clear();
        for (const Buffer& buffer : mBuffers[1]) {
            mObserver->outputMemory[buffer.id] = buffer.memory;
        }
        mObserver->outputsOut = mBuffers[1].size();
        return true;
    });
    for (const Buffer& buffer : mBuffers[1]) {
        EXPECT_EQ(omx->fillBuffer(node, buffer.id), OK);
    }
}

void DecoderClient::answerChange() {
    disableOutput();
    awaitOutputsBack();
    freeOutput(SIZE_MAX);
    awaitDisabled();
    enableOutput();
    allocateOutput(port(1).nBufferCountActual);
    awaitEnabled();
    fillOutputs();
}

int DecoderClient::changes() {
    return mObserver->read(&Observer::changes);
}
size_t DecoderClient::pictures() {
    return mObserver->read(&Observer::outputs).size();
}
OMX_PARAM_PORTDEFINITIONTYPE DecoderClient::definitionAtChange() {
    return mObserver->read(&Observer::definition);
}
std::vector<std::string> DecoderClient::heard() {
    return mObserver->read(&Observer::heard);
}

}  // namespace zem::test
