// A client of one encoder component, through the component host as the engine gets it: from the plug-in.
#pragma once

#include <atomic>
#include <vector>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"
#include "tests/platform/host_rig.h"

namespace zem::test {

constexpr OMX_U32 kSemiPlanar = 21;

/// What came out of the output port.
struct Output {
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// All calls on one thread.
class EncoderClient : public NodeClient {
  public:
    /// A node of component `encoder` of `profile`, with a host of its own.
    EncoderClient(const char* profile, const char* encoder)
        : NodeClient((setChipProfile(profile), makeBuiltInMediaPlayerService()->getOMX()), encoder) {
        observer->hook = [this](const omx_message& msg) { take(msg); };
        allocate();
    }
    ~EncoderClient() { EXPECT_EQ(OK, omx->freeNode(node)); }  // in whatever state it is
    EncoderClient(const EncoderClient&) = delete;
    EncoderClient& operator=(const EncoderClient&) = delete;

    status_t setSize(OMX_U32 index, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                     OMX_U32 frameRateQ16 = 30 << 16) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = port(index);
        wanted.nBufferSize = 300;  // a wish that is too small
        wanted.format.video.nFrameWidth = width;
        wanted.format.video.nFrameHeight = height;
        wanted.format.video.xFramerate = frameRateQ16;
        wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(colorFormat);
        return setPort(wanted);
    }
    /// All that a chip with interleaved chroma is told before it starts.
    void configure(OMX_U32 width, OMX_U32 height, OMX_U32 bitRate, OMX_U32 control = 2,
                   OMX_U32 frameRateQ16 = 30 << 16) {
        EXPECT_EQ(OK, setSize(kInputPort, width, height, kSemiPlanar, frameRateQ16));
        EXPECT_EQ(OK, setSize(kOutputPort, width, height, kSemiPlanar, frameRateQ16));
        EXPECT_EQ(OK, setRate(control, bitRate));
    }
    status_t setRate(OMX_U32 control, OMX_U32 bitRate) {
        OMX_VIDEO_PARAM_BITRATETYPE fields{};
        fields.nPortIndex = kOutputPort;
        fields.eControlRate = static_cast<OMX_VIDEO_CONTROLRATETYPE>(control);
        fields.nTargetBitrate = bitRate;
        return omx->setParameter(node, OMX_IndexParamVideoBitrate, &fields, sizeof fields);
    }
    /// Loaded to Executing, all output buffers with the component.
    void start() {
        advanceTo(OMX_StateExecuting);
        mOutputs.clear();
        fillAll();
    }
    /// Sends one frame and waits until its buffer is back.
    void send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp = 0, OMX_U32 flags = 0) {
        const int before = mReturned;
        ASSERT_EQ(OK, empty(0, {frame.begin(), frame.end()}, flags, timestamp));
        EXPECT_TRUE(eventually([&] { return mReturned > before; }));
    }
    /// Ends the stream, and goes back to Loaded; all outputs, with the one that says so.
    std::vector<Output> finish(OMX_TICKS timestamp = 0) {
        send({}, timestamp, OMX_BUFFERFLAG_EOS);
        EXPECT_EQ(OK, setState(OMX_StateIdle));
        EXPECT_TRUE(eventually([this] { return mState == OMX_StateIdle; }));
        EXPECT_EQ(OK, setState(OMX_StateLoaded));
        freeBuffers(kInputPort);
        freeBuffers(kOutputPort);
        EXPECT_TRUE(eventually([this] { return mState == OMX_StateLoaded; }));
        observer->forget();
        return mOutputs;
    }

  private:
    // On the delivery thread: copies each output and gives its buffer back at once.
    void take(const omx_message& msg) {
        const auto& data = msg.u.extended_buffer_data;
        if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            ++mReturned;
        } else if (msg.type == omx_message::EVENT) {
            EXPECT_EQ(OMX_EventCmdComplete, msg.u.event_data.event);
            mState = msg.u.event_data.data2;
        } else if (data.range_length > 0 || data.flags != 0) {
            // Buffers are named one after the other.
            const uint8_t* start = bytes[kOutputPort][data.buffer - buffers[kOutputPort][0]];
            mOutputs.push_back({{start, start + data.range_length}, data.flags, data.timestamp});
            omx->fillBuffer(node, data.buffer);  // too late once the stream has ended
        }
    }

    std::vector<Output> mOutputs;  // the delivery thread's until the node is Idle
    std::atomic<int> mReturned{0};
    std::atomic<OMX_U32> mState{OMX_StateLoaded};
};

}  // namespace zem::test
