// Proves that a client finds each chip's encoder in the component host and gets its pictures coded through
// shared buffers, from Loaded to Loaded. Would catch a plug-in that lists the wrong names, a port that asks
// for less than its frame, an end of stream that never comes, a component that keeps a buffer.
#include <binder/MemoryDealer.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"
#include "tests/platform/h264_reader.h"

namespace zem {
namespace {

using android::IMemory;
using android::IOMX;
using android::OK;
using android::omx_message;
using android::sp;

// Collects a node's messages.
class Observer final : public android::BnOMXObserver {
  public:
    void onMessage(const omx_message& message) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mMessages.push_back(message);
        mArrived.notify_all();
    }
    /// The oldest message, taken out; an error event when none comes within 10 s.
    omx_message next() {
        std::unique_lock<std::mutex> lock(mMutex);
        omx_message message{};
        message.type = omx_message::EVENT;
        message.u.event_data.event = OMX_EventError;
        if (mArrived.wait_for(lock, std::chrono::seconds(10), [this] { return !mMessages.empty(); })) {
            message = mMessages.front();
            mMessages.erase(mMessages.begin());
        }
        return message;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::vector<omx_message> mMessages;  // guarded by mMutex
};

struct Buffer {
    IOMX::buffer_id id;
    sp<IMemory> memory;
};

// An encoder's client in the least steps that work.
class Client {
  public:
    explicit Client(const sp<IOMX>& omx) : mOmx(omx), mObserver(new Observer) {}
    ~Client() { EXPECT_EQ(mOmx->freeNode(mNode), OK); }

    void open(const char* name, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat, OMX_U32 inputSize) {
        ASSERT_EQ(mOmx->allocateNode(name, mObserver, &mNode), OK);
        ASSERT_NO_FATAL_FAILURE(setPort(0, width, height, colorFormat, inputSize));
        ASSERT_NO_FATAL_FAILURE(setPort(1, width, height, colorFormat, 0));
    }
    OMX_PARAM_PORTDEFINITIONTYPE definition(OMX_U32 port) {
        OMX_PARAM_PORTDEFINITIONTYPE definition{};
        definition.nPortIndex = port;
        EXPECT_EQ(mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof(definition)),
                  OK);
        return definition;
    }
    void start() {
        ASSERT_EQ(mOmx->sendCommand(mNode, OMX_CommandStateSet, OMX_StateIdle), OK);
        for (const OMX_U32 port : {0u, 1u}) {
            ASSERT_NO_FATAL_FAILURE(allocate(port));
        }
        ASSERT_NO_FATAL_FAILURE(reach(OMX_StateIdle));
        ASSERT_EQ(mOmx->sendCommand(mNode, OMX_CommandStateSet, OMX_StateExecuting), OK);
        ASSERT_NO_FATAL_FAILURE(reach(OMX_StateExecuting));
        for (const Buffer& buffer : mBuffers[1]) {
            ASSERT_EQ(mOmx->fillBuffer(mNode, buffer.id), OK);
        }
    }
    // Sends `frame` in a buffer that was not used yet; an empty one ends the stream.
    void send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp) {
        const Buffer& buffer = mBuffers[0].at(mSent++);
        ASSERT_LE(frame.size(), buffer.memory->size());
        if (!frame.empty()) {
            memcpy(buffer.memory->pointer(), frame.data(), frame.size());
        }
        ASSERT_EQ(mOmx->emptyBuffer(mNode, buffer.id, 0, static_cast<OMX_U32>(frame.size()),
                                    frame.empty() ? OMX_BUFFERFLAG_EOS : 0, timestamp),
                  OK);
    }
    // Takes outputs, and gives their buffers back, until the one that ends the stream.
    void drain() {
        for (;;) {
            const omx_message message = mObserver->next();
            ASSERT_NE(message.type, omx_message::EVENT);
            if (message.type == omx_message::EMPTY_BUFFER_DONE) {
                continue;
            }
            const auto& data = message.u.extended_buffer_data;
            for (const Buffer& buffer : mBuffers[1]) {
                if (buffer.id == data.buffer) {
                    const auto* bytes = static_cast<const uint8_t*>(buffer.memory->pointer());
                    units.emplace_back(bytes, bytes + data.range_length);
                }
            }
            if ((data.flags & OMX_BUFFERFLAG_EOS) != 0) {
                return;
            }
            ASSERT_EQ(mOmx->fillBuffer(mNode, data.buffer), OK);
        }
    }
    void stop() {
        ASSERT_EQ(mOmx->sendCommand(mNode, OMX_CommandStateSet, OMX_StateIdle), OK);
        ASSERT_NO_FATAL_FAILURE(reach(OMX_StateIdle));
        ASSERT_EQ(mOmx->sendCommand(mNode, OMX_CommandStateSet, OMX_StateLoaded), OK);
        for (const OMX_U32 port : {0u, 1u}) {
            for (const Buffer& buffer : mBuffers[port]) {
                EXPECT_EQ(mOmx->freeBuffer(mNode, port, buffer.id), OK);
            }
        }
        ASSERT_NO_FATAL_FAILURE(reach(OMX_StateLoaded));
    }

    std::vector<std::vector<uint8_t>> units;

  private:
    void setPort(OMX_U32 port, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat, OMX_U32 size) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = definition(port);
        if (size != 0) {
            wanted.nBufferSize = size;
        }
        wanted.format.video.nFrameWidth = width;
        wanted.format.video.nFrameHeight = height;
        wanted.format.video.xFramerate = 30 << 16;
        wanted.format.video.nBitrate = 8000000;
        wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(colorFormat);
        ASSERT_EQ(mOmx->setParameter(mNode, OMX_IndexParamPortDefinition, &wanted, sizeof(wanted)), OK);
    }
    void allocate(OMX_U32 port) {
        const OMX_PARAM_PORTDEFINITIONTYPE wanted = definition(port);
        mDealers[port] =
            new android::MemoryDealer(size_t{wanted.nBufferCountActual} * wanted.nBufferSize, "test");
        for (OMX_U32 i = 0; i < wanted.nBufferCountActual; i++) {
            Buffer buffer{0, mDealers[port]->allocate(wanted.nBufferSize)};
            ASSERT_EQ(mOmx->useBuffer(mNode, port, buffer.memory, &buffer.id), OK);
            mBuffers[port].push_back(buffer);
        }
    }
    // Buffers may come back on the way.
    void reach(OMX_STATETYPE state) {
        for (;;) {
            const omx_message message = mObserver->next();
            if (message.type == omx_message::EVENT) {
                ASSERT_EQ(message.u.event_data.event, OMX_EventCmdComplete);
                ASSERT_EQ(message.u.event_data.data2, static_cast<OMX_U32>(state));
                return;
            }
        }
    }

    const sp<IOMX> mOmx;
    const sp<Observer> mObserver;
    IOMX::node_id mNode = 0;
    sp<android::MemoryDealer> mDealers[2];
    std::vector<Buffer> mBuffers[2];
    size_t mSent = 0;
};

struct Chip {
    const char* profile;
    const char* encoder;
    OMX_U32 colorFormat;
    OMX_U32 inputSize;  // asked for; too little for 1280x720
    OMX_U32 chromaOffset;
};

// The host as the engine gets it, its components from the plug-in.
sp<IOMX> hostOf(const char* profile) {
    EXPECT_TRUE(setChipProfile(profile));
    return makeBuiltInMediaPlayerService()->getOMX();
}

// The encoders of the profile, in its order: whoever searches meets the software ones first.
TEST(OmxEncoder, HostListsTheChipsEncoders) {
    for (const char* profile : {"qcom", "qcom-tiled", "sec", "exynos", "tarn"}) {
        SCOPED_TRACE(profile);
        android::List<IOMX::ComponentInfo> nodes;
        ASSERT_EQ(hostOf(profile)->listNodes(&nodes), OK);
        std::vector<std::string> wanted;
        for (const ChipComponent& component : currentChipProfile()) {
            if (component.role == ComponentRole::AvcEncoder) {
                wanted.emplace_back(component.name);
            }
        }
        std::vector<std::string> listed;
        for (const IOMX::ComponentInfo& node : nodes) {
            listed.emplace_back(node.mName.string());
        }
        EXPECT_EQ(listed, wanted);
    }
}

TEST(OmxEncoder, EveryChipCodesThroughTheHost) {
    constexpr Chip kChips[] = {{"qcom", "OMX.qcom.video.encoder.avc", 21, 0, 925696},
                               {"qcom-tiled", "OMX.qcom.video.encoder.avc", 21, 0, 925696},
                               {"sec", "OMX.SEC.avc.enc", 21, 1024000, 1280 * 722},
                               {"exynos", "OMX.Exynos.avc.enc", 21, 1024000, 1280 * 722},
                               {"tarn", "OMX.tarn.video.encoder.avc", 19, 0, 1280 * 722}};
    for (const Chip& chip : kChips) {
        SCOPED_TRACE(chip.profile);
        Client client(hostOf(chip.profile));
        ASSERT_NO_FATAL_FAILURE(client.open(chip.encoder, 1280, 722, chip.colorFormat, chip.inputSize));
        const OMX_U32 needed = chip.chromaOffset + 1280 * 722 / 2;
        EXPECT_EQ(client.definition(0).nBufferSize, (needed + 31) / 32 * 32);
        ASSERT_NO_FATAL_FAILURE(client.start());
        const test::Picture sent = test::patches(1280, 722);
        ASSERT_NO_FATAL_FAILURE(
            client.send(test::frameOf(sent, chip.colorFormat == 21, chip.chromaOffset), 33333));
        ASSERT_NO_FATAL_FAILURE(client.send({}, 66666));
        ASSERT_NO_FATAL_FAILURE(client.drain());
        ASSERT_EQ(client.units.size(), 3u);
        test::H264Reader reader;
        test::Picture seen;
        reader.read(client.units[0], &seen);
        ASSERT_TRUE(reader.read(client.units[1], &seen));
        EXPECT_LE(test::largestDifference(sent, seen), 16);
        EXPECT_TRUE(client.units[2].empty());
        ASSERT_NO_FATAL_FAILURE(client.stop());
    }
}

// Teardown in the middle of the stream, as a client that gives up does it.
TEST(OmxEncoder, NodeFreedWhileCoding) {
    for (int i = 0; i < 10; i++) {
        Client client(hostOf("sec"));
        ASSERT_NO_FATAL_FAILURE(client.open("OMX.SEC.avc.enc", 320, 240, 21, 0));
        ASSERT_NO_FATAL_FAILURE(client.start());
        ASSERT_NO_FATAL_FAILURE(client.send(test::frameOf(test::patches(320, 240), true, 76800), 0));
    }
}

}  // namespace
}  // namespace zem
