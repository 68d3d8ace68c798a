// A client of one codec component, through the component host as the engine gets it: from the plug-in.
#pragma once

#include <algorithm>
#include <utility>

#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/omx_host/media_player_service.h"
#include "tests/platform/host_rig.h"

namespace zem::test {

using Bytes = std::vector<uint8_t>;

/// What came out of the output port.
struct Output {
    Bytes bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// All calls on one thread, which takes the node's messages while it waits. Fails the test on an error event
/// and when the node falls silent.
class CodecClient : public NodeClient {
  public:
    /// A node of component `codec` of `profile`, with a host of its own.
    CodecClient(const char* profile, const char* codec)
        : NodeClient((setChipProfile(profile), makeBuiltInMediaPlayerService()->getOMX()), codec) {
        allocate();
    }
    ~CodecClient() { EXPECT_EQ(omx->freeNode(node), OK); }  // in whatever state it is
    CodecClient(const CodecClient&) = delete;
    CodecClient& operator=(const CodecClient&) = delete;

    /// Loaded to Executing, all output buffers with the component.
    void start() {
        advanceTo(OMX_StateExecuting);
        mFreeInputs = buffers[kInputPort];
        fillOutputs();
    }
    /// Sends one buffer as soon as there is a free one.
    void send(const Bytes& payload, OMX_TICKS timestamp = 0, OMX_U32 flags = 0) {
        await([this] { return !mFreeInputs.empty(); });
        ASSERT_FALSE(mFreeInputs.empty());
        const auto& ids = buffers[kInputPort];
        const auto which =
            static_cast<size_t>(std::find(ids.begin(), ids.end(), mFreeInputs.front()) - ids.begin());
        mFreeInputs.erase(mFreeInputs.begin());
        // Behind the payload stands what no codec may read as its end.
        memset(bytes[kInputPort].at(which), 0xFF, port(kInputPort).nBufferSize);
        ASSERT_EQ(empty(which, {payload.begin(), payload.end()}, flags, timestamp), OK);
    }
    /// Waits until all inputs are back.
    void awaitInputs() {
        await([this] { return mFreeInputs.size() == buffers[kInputPort].size(); });
    }
    /// Ends the stream; all that came out, the end included.
    std::vector<Output> finish(OMX_TICKS timestamp = 0) {
        send({}, timestamp, OMX_BUFFERFLAG_EOS);
        await([this] { return !outputs.empty() && outputs.back().flags == OMX_BUFFERFLAG_EOS; });
        awaitInputs();
        return std::exchange(outputs, {});
    }
    /// Executing to Loaded.
    void stop() {
        EXPECT_EQ(setState(OMX_StateIdle), OK);
        await([this] { return mState == OMX_StateIdle; });
        EXPECT_EQ(setState(OMX_StateLoaded), OK);
        freeBuffers(kInputPort);
        freeBuffers(kOutputPort);
        await([this] { return mState == OMX_StateLoaded; });
    }
    /// Sets `index` to `fields`, or gets it from there.
    template <typename T>
    status_t set(OMX_INDEXTYPE index, const T& fields) {
        return omx->setParameter(node, index, &fields, sizeof fields);
    }
    template <typename T>
    status_t get(OMX_INDEXTYPE index, T* fields) {
        return omx->getParameter(node, index, fields, sizeof *fields);
    }
    /// Reads and writes `index` with a whole T of this port, then with a byte less and more and of a port
    /// that there is not.
    template <typename T>
    void expectExactSize(OMX_INDEXTYPE index, OMX_U32 ofPort) {
        OMX_U32 words[64] = {0, 0, ofPort};  // size and version unfilled
        for (const int more : {0, -1, 1, 0}) {
            const size_t size = sizeof(T) + static_cast<size_t>(more);
            const bool fine = more == 0 && words[2] == ofPort;
            EXPECT_EQ(omx->getParameter(node, index, words, size) == OK, fine) << index;
            EXPECT_EQ(omx->setParameter(node, index, words, size) == OK, fine) << index;
            words[2] = more == 1 ? kPortCount : ofPort;
        }
    }
    void awaitChange() {
        await([this] { return changed; });
    }
    /// The answer to a change, or the first `steps` steps of it.
    void answerChange(size_t steps = SIZE_MAX) {
        const std::function<void()> all[] = {
            [this] { EXPECT_EQ(command(OMX_CommandPortDisable, kOutputPort), OK); },
            [this] { await([this] { return mOutputsOut == 0; }); },
            [this] { freeBuffers(kOutputPort, 1); },
            [this] { freeBuffers(kOutputPort); },
            [this] { await([this] { return mDisabled; }); },
            [this] { EXPECT_EQ(command(OMX_CommandPortEnable, kOutputPort), OK); },
            [this] { EXPECT_EQ(addBuffer(kOutputPort), OK); },
            [this] { populate(kOutputPort); },
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
    std::vector<Output> outputs;  // not empty ones

  private:
    void await(const std::function<bool()>& done) {
        while (!done() && takeMessage()) {
        }
    }
    bool takeMessage() {
        omx_message message{};
        if (mSilent || !observer->next(&message)) {
            mSilent = true;  // the test need not wait again
            ADD_FAILURE() << "the node says nothing";
            return false;
        }
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
        mState = event.data1 == OMX_CommandStateSet ? event.data2 : mState;
        if (event.data1 == OMX_CommandPortDisable) {
            EXPECT_TRUE(buffers[kOutputPort].empty()) << "disabled too early";
            mDisabled = true;
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
    bool mSilent = false;
    OMX_U32 mState = OMX_StateLoaded;
};

}  // namespace zem::test
