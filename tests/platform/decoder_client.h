// A client of one decoder component, through the component host as the engine gets it: from the plug-in.
#pragma once

#include <algorithm>
#include <deque>
#include <utility>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"
#include "tests/platform/coded_stream.h"
#include "tests/platform/decoded_addressing.h"
#include "tests/platform/host_rig.h"

namespace zem::test {

/// A decoder of a chip, and what is asked of it.
struct DecoderChip {
    const char* profile;
    const char* decoder;
    Layout layout;
    bool announcesFirst;  // the first picture's size, whatever it is
};

constexpr DecoderChip kDecoderChips[] = {
    {"qcom", "OMX.qcom.video.decoder.avc", Layout::PaddedRows, false},
    {"qcom-tiled", "OMX.qcom.video.decoder.avc", Layout::Tiles, true},
    {"sec", "OMX.SEC.avc.dec", Layout::Planes, true},
    {"exynos", "OMX.Exynos.avc.dec", Layout::Planes, true},
    {"tarn", "OMX.tarn.video.decoder.avc", Layout::Planes, true},
    {"qcom", "OMX.google.avc.decoder", Layout::Planes, true},
};

/// A picture, or the end of the stream.
struct Decoded {
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// All calls on one thread, which takes the node's messages while it waits. Fails the test on an error event
/// and after 20 s of silence.
class DecoderClient : public NodeClient {
  public:
    /// A node of the chip's decoder, with a host of its own, that is told to expect this size.
    DecoderClient(const DecoderChip& chip, OMX_U32 width, OMX_U32 height)
        : NodeClient((setChipProfile(chip.profile), makeBuiltInMediaPlayerService()->getOMX()),
                     chip.decoder) {
        observer->hook = [this](const omx_message& message) {
            std::lock_guard<std::mutex> lock(mMutex);
            mMessages.push_back(message);
            mArrived.notify_all();
        };
        allocate();
        OMX_PARAM_PORTDEFINITIONTYPE wanted = port(kInputPort);
        wanted.format.video.nFrameWidth = width;
        wanted.format.video.nFrameHeight = height;
        EXPECT_EQ(setPort(wanted), OK);
    }
    ~DecoderClient() { EXPECT_EQ(omx->freeNode(node), OK); }  // in whatever state it is
    DecoderClient(const DecoderClient&) = delete;
    DecoderClient& operator=(const DecoderClient&) = delete;

    /// Loaded to Executing, all output buffers with the component.
    void start() {
        advanceTo(OMX_StateExecuting);
        mFreeInputs = buffers[kInputPort];
        fillOutputs();
    }
    /// Sends one unit as soon as an input buffer is free.
    void send(const Unit& unit, OMX_TICKS timestamp = 0, OMX_U32 flags = 0) {
        await([this] { return !mFreeInputs.empty(); });
        ASSERT_FALSE(mFreeInputs.empty());
        const auto& ids = buffers[kInputPort];
        const auto which =
            static_cast<size_t>(std::find(ids.begin(), ids.end(), mFreeInputs.front()) - ids.begin());
        mFreeInputs.erase(mFreeInputs.begin());
        // Behind the unit stands what no decoder may read as its end.
        memset(bytes[kInputPort].at(which), 0xFF, port(kInputPort).nBufferSize);
        ASSERT_EQ(empty(which, {unit.begin(), unit.end()}, flags, timestamp), OK);
    }
    /// Ends the stream; all that came out, the end included.
    std::vector<Decoded> finish(OMX_TICKS timestamp) {
        send({}, timestamp, OMX_BUFFERFLAG_EOS);
        await([this] { return !outputs.empty() && outputs.back().flags == OMX_BUFFERFLAG_EOS; });
        await([this] { return mFreeInputs.size() == buffers[kInputPort].size(); });
        return std::exchange(outputs, {});
    }
    void awaitChange() {
        await([this] { return changed; });
    }
    /// The answer to a change, or the first `steps` steps of it.
    void answerChange(size_t steps = SIZE_MAX) {
        const std::function<void()> all[] = {
            [this] { EXPECT_EQ(command(OMX_CommandPortDisable, kOutputPort), OK); },
            [this] { await([this] { return mOutputsOut == 0; }); },
            [this] { freeOutput(); },
            [this] { freeBuffers(kOutputPort); },
            [this] { await([this] { return mDisabled; }); },
            [this] { EXPECT_EQ(command(OMX_CommandPortEnable, kOutputPort), OK); },
            [this] { EXPECT_EQ(addBuffer(kOutputPort), OK); },
            [this] { addOutputs(); },
            [this] { await([this] { return mEnabled; }); },
            [this] { fillOutputs(); },
        };
        mDisabled = mEnabled = false;
        std::for_each(all, all + std::min(steps, std::size(all)), [](const auto& step) { step(); });
    }
    static constexpr size_t kAnswerSteps = 10;

    bool answers = true;   // changes, as soon as they are heard of
    bool changed = false;  // and not answered yet
    int changes = 0;
    std::vector<Decoded> outputs;  // not empty ones

  private:
    void await(const std::function<bool()>& done) {
        while (!done() && takeMessage()) {
        }
    }
    bool takeMessage() {
        std::unique_lock<std::mutex> lock(mMutex);
        if (!mArrived.wait_for(lock, std::chrono::seconds(20), [this] { return !mMessages.empty(); })) {
            ADD_FAILURE() << "the node says nothing";
            return false;
        }
        const omx_message message = mMessages.front();
        mMessages.pop_front();
        lock.unlock();
        if (message.type == omx_message::EMPTY_BUFFER_DONE) {
            mFreeInputs.push_back(message.u.buffer_data.buffer);
        } else if (message.type == omx_message::FILL_BUFFER_DONE) {
            takeOutput(message);
        } else {
            takeEvent(message);
        }
        return true;
    }
    // Copies it, and gives its buffer back until a change is heard of.
    void takeOutput(const omx_message& message) {
        const auto& data = message.u.extended_buffer_data;
        const auto& ids = buffers[kOutputPort];
        const auto which = static_cast<size_t>(std::find(ids.begin(), ids.end(), data.buffer) - ids.begin());
        ASSERT_LT(which, ids.size()) << "unknown output " << data.buffer;
        mOutputsOut--;
        if (data.range_length > 0 || data.flags != 0) {
            const uint8_t* start = bytes[kOutputPort][which];
            outputs.push_back({{start, start + data.range_length}, data.flags, data.timestamp});
        }
        if (!changed && fill(which) == OK) {
            mOutputsOut++;
        }
    }
    void takeEvent(const omx_message& message) {
        const auto& event = message.u.event_data;
        if (event.event == OMX_EventPortSettingsChanged) {
            EXPECT_EQ(event.data1, kOutputPort);
            changes++;
            changed = true;
            if (answers) {
                answerChange();
            }
            return;
        }
        ASSERT_EQ(event.event, OMX_EventCmdComplete) << event.data1;
        mEnabled = mEnabled || event.data1 == OMX_CommandPortEnable;
        if (event.data1 == OMX_CommandPortDisable) {
            EXPECT_TRUE(buffers[kOutputPort].empty()) << "disabled too early";
            mDisabled = true;
        }
    }
    void freeOutput() {
        EXPECT_EQ(omx->freeBuffer(node, kOutputPort, buffers[kOutputPort].back()), OK);
        buffers[kOutputPort].pop_back();
        bytes[kOutputPort].pop_back();
    }
    void addOutputs() {
        while (buffers[kOutputPort].size() < port(kOutputPort).nBufferCountActual) {
            ASSERT_EQ(addBuffer(kOutputPort), OK);
        }
    }
    void fillOutputs() {
        changed = false;
        mOutputsOut = buffers[kOutputPort].size();
        fillAll();
    }

    std::vector<IOMX::buffer_id> mFreeInputs;
    size_t mOutputsOut = 0;  // with the component
    bool mDisabled = false;
    bool mEnabled = false;

    std::mutex mMutex;
    std::condition_variable mArrived;
    std::deque<omx_message> mMessages;  // guarded by mMutex; those not yet taken
};

}  // namespace zem::test
