#include "tests/platform/encoder_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"

namespace zem::test {

using android::IOMX;
using android::OK;
using android::omx_message;
using android::sp;
using android::status_t;

// Collects what the node says; copies each output and gives its buffer back at once.
class EncoderClient::Observer final : public android::BnOMXObserver {
  public:
    explicit Observer(const sp<IOMX>& omx) : mOmx(omx) {}

    void onMessage(const omx_message& message) override {
        std::lock_guard<std::mutex> lock(mMutex);
        if (message.type == omx_message::EMPTY_BUFFER_DONE) {
            returned++;
        } else if (message.type == omx_message::FILL_BUFFER_DONE) {
            keepOutput(message);
        } else if (message.u.event_data.event == OMX_EventCmdComplete) {
            state = message.u.event_data.data2;
        } else {
            ADD_FAILURE() << "event " << message.u.event_data.event;
        }
        mArrived.notify_all();
    }
    template <typename Done>
    void waitUntil(Done done) {
        std::unique_lock<std::mutex> lock(mMutex);
        EXPECT_TRUE(mArrived.wait_for(lock, std::chrono::seconds(10), done));
    }

    // Guarded by mMutex: looked at in waitUntil(), or while nothing is under way.
    int returned = 0;
    OMX_U32 state = OMX_StateLoaded;
    bool ended = false;
    bool refill = false;
    std::vector<Output> outputs;
    std::vector<Buffer> outputBuffers;

  private:
    void keepOutput(const omx_message& message) {
        const auto& data = message.u.extended_buffer_data;
        for (const Buffer& buffer : outputBuffers) {
            if (refill && buffer.id == data.buffer) {
                const auto* bytes = static_cast<const uint8_t*>(buffer.memory->pointer());
                outputs.push_back({{bytes, bytes + data.range_length}, data.flags, data.timestamp});
                EXPECT_EQ(mOmx->fillBuffer(message.node, buffer.id), OK);
            }
        }
        ended = ended || (data.flags & OMX_BUFFERFLAG_EOS) != 0;
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

EncoderClient::EncoderClient(const char* profile, const char* name)
    : omx(hostOf(profile)), mObserver(new Observer(omx)) {
    EXPECT_EQ(omx->allocateNode(name, mObserver, &node), OK);
}

EncoderClient::~EncoderClient() {
    EXPECT_EQ(omx->freeNode(node), OK);
}

OMX_PARAM_PORTDEFINITIONTYPE EncoderClient::port(OMX_U32 index) {
    OMX_PARAM_PORTDEFINITIONTYPE definition{};
    definition.nPortIndex = index;
    EXPECT_EQ(omx->getParameter(node, OMX_IndexParamPortDefinition, &definition, sizeof(definition)), OK);
    return definition;
}

status_t EncoderClient::setPort(OMX_U32 index, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                                OMX_U32 bufferSize) {
    OMX_PARAM_PORTDEFINITIONTYPE wanted = port(index);
    wanted.nBufferSize = bufferSize != 0 ? bufferSize : wanted.nBufferSize;
    wanted.format.video.nFrameWidth = width;
    wanted.format.video.nFrameHeight = height;
    wanted.format.video.xFramerate = 30 << 16;
    wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(colorFormat);
    return omx->setParameter(node, OMX_IndexParamPortDefinition, &wanted, sizeof(wanted));
}

status_t EncoderClient::setRate(OMX_U32 control, OMX_U32 bitRate) {
    auto fields = structOfOutputPort<OMX_VIDEO_PARAM_BITRATETYPE>();
    fields.eControlRate = static_cast<OMX_VIDEO_CONTROLRATETYPE>(control);
    fields.nTargetBitrate = bitRate;
    return omx->setParameter(node, OMX_IndexParamVideoBitrate, &fields, sizeof(fields));
}

status_t EncoderClient::setPFrames(OMX_U32 count) {
    auto fields = structOfOutputPort<OMX_VIDEO_PARAM_AVCTYPE>();
    EXPECT_EQ(omx->getParameter(node, OMX_IndexParamVideoAvc, &fields, sizeof(fields)), OK);
    EXPECT_GT(fields.nPFrames, 0u);
    fields.nPFrames = count;
    return omx->setParameter(node, OMX_IndexParamVideoAvc, &fields, sizeof(fields));
}

// Size and version stay unfilled, as the engine leaves them.
status_t EncoderClient::requestKeyFrame() {
    OMX_CONFIG_INTRAREFRESHVOPTYPE fields{};
    fields.nPortIndex = 1;
    fields.IntraRefreshVOP = OMX_TRUE;
    return omx->setConfig(node, OMX_IndexConfigVideoIntraVOPRefresh, &fields, sizeof(fields));
}

// The header that is read into was never filled, the port included.
status_t EncoderClient::changeBitRate(OMX_U32 bitRate) {
    OMX_VIDEO_CONFIG_BITRATETYPE fields;
    memset(&fields, 0xA5, sizeof(fields));
    EXPECT_EQ(omx->getConfig(node, OMX_IndexConfigVideoBitrate, &fields, sizeof(fields)), OK);
    fields.nPortIndex = 1;
    fields.nEncodeBitrate = bitRate;
    return omx->setConfig(node, OMX_IndexConfigVideoBitrate, &fields, sizeof(fields));
}

void EncoderClient::allocate(OMX_U32 index) {
    const OMX_PARAM_PORTDEFINITIONTYPE wanted = port(index);
    const sp<android::MemoryDealer> dealer =
        new android::MemoryDealer(size_t{wanted.nBufferCountActual} * wanted.nBufferSize, "encoder client");
    mBuffers[index].clear();
    for (OMX_U32 i = 0; i < wanted.nBufferCountActual; i++) {
        Buffer buffer{0, dealer->allocate(wanted.nBufferSize)};
        EXPECT_EQ(omx->useBuffer(node, index, buffer.memory, &buffer.id), OK);
        mBuffers[index].push_back(buffer);
    }
}

void EncoderClient::command(OMX_STATETYPE state) {
    EXPECT_EQ(omx->sendCommand(node, OMX_CommandStateSet, state), OK);
}

void EncoderClient::start() {
    command(OMX_StateIdle);
    allocate(0);
    allocate(1);
    mObserver->waitUntil([this] { return mObserver->state == OMX_StateIdle; });
    mObserver->outputs.clear();
    mObserver->outputBuffers = mBuffers[1];
    mObserver->ended = false;
    mObserver->refill = true;
    command(OMX_StateExecuting);
    mObserver->waitUntil([this] { return mObserver->state == OMX_StateExecuting; });
    for (const Buffer& buffer : mBuffers[1]) {
        EXPECT_EQ(omx->fillBuffer(node, buffer.id), OK);
    }
}

void EncoderClient::send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp, OMX_U32 flags) {
    const Buffer& buffer = mBuffers[0].at(0);
    ASSERT_LE(frame.size(), buffer.memory->size());
    if (!frame.empty()) {
        memcpy(buffer.memory->pointer(), frame.data(), frame.size());
    }
    mObserver->waitUntil([this] { return mObserver->returned = 0, true; });
    ASSERT_EQ(omx->emptyBuffer(node, buffer.id, 0, static_cast<OMX_U32>(frame.size()), flags, timestamp), OK);
    mObserver->waitUntil([this] { return mObserver->returned > 0; });
}

std::vector<Output> EncoderClient::finish(OMX_TICKS timestamp) {
    send({}, timestamp, OMX_BUFFERFLAG_EOS);
    std::vector<Output> outputs;
    mObserver->waitUntil([this] { return mObserver->ended; });
    mObserver->waitUntil([&] { return mObserver->refill = false, outputs.swap(mObserver->outputs), true; });
    return outputs;
}

void EncoderClient::stop() {
    command(OMX_StateIdle);
    mObserver->waitUntil([this] { return mObserver->state == OMX_StateIdle; });
    command(OMX_StateLoaded);
    for (const OMX_U32 index : {0u, 1u}) {
        for (const Buffer& buffer : mBuffers[index]) {
            EXPECT_EQ(omx->freeBuffer(node, index, buffer.id), OK);
        }
    }
    mObserver->waitUntil([this] { return mObserver->state == OMX_StateLoaded; });
}

}  // namespace zem::test
