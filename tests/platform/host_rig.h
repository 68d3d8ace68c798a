// A client of the component host for tests: one node with a scripted component, and its messages.
#pragma once

#include <binder/MemoryDealer.h>
#include <gtest/gtest.h>
#include <media/IOMX.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/omx_host/omx_host.h"
#include "tests/support/scripted_component.h"

namespace zem::test {

using android::IOMX;
using android::OK;
using android::omx_message;
using android::sp;
using android::status_t;

/// Keeps what a node said, one readable line a message.
class Recorder final : public android::BnOMXObserver {
  public:
    /// Runs in onMessage, before the message is recorded. Set before the node is allocated.
    std::function<void(const omx_message&)> hook;

    void onMessage(const omx_message& msg) override {
        if (hook) {
            hook(msg);
        }
        std::lock_guard<std::mutex> lock(mMutex);
        mLines.push_back(text(msg));
        mThread = pthread_self();
        mArrived.notify_all();
    }

    /// Takes the next `count` lines, waiting for them; fewer when they do not come within 10 s.
    std::vector<std::string> take(size_t count) {
        std::unique_lock<std::mutex> lock(mMutex);
        mArrived.wait_for(lock, std::chrono::seconds(10), [&] { return mLines.size() >= mTaken + count; });
        const size_t end = std::min(mTaken + count, mLines.size());
        std::vector<std::string> lines(mLines.begin() + static_cast<long>(mTaken),
                                       mLines.begin() + static_cast<long>(end));
        mTaken = end;
        return lines;
    }
    size_t count() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mLines.size();
    }
    pthread_t thread() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mThread;
    }

    static std::string text(const omx_message& msg) {
        char line[128];
        const auto& event = msg.u.event_data;
        const auto& fill = msg.u.extended_buffer_data;
        if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            snprintf(line, sizeof line, "emptied #%u", msg.u.buffer_data.buffer);
        } else if (msg.type == omx_message::FILL_BUFFER_DONE) {
            snprintf(line, sizeof line, "filled #%u len %u flags %x at %lld", fill.buffer, fill.range_length,
                     fill.flags, static_cast<long long>(fill.timestamp));
        } else if (event.event == OMX_EventCmdComplete) {
            static const char* const kCommands[] = {"state", "flushed", "disabled", "enabled"};
            snprintf(line, sizeof line, "%s %u", kCommands[event.data1 & 3], event.data2);
        } else if (event.event == OMX_EventPortSettingsChanged) {
            snprintf(line, sizeof line, "changed %u", event.data1);
        } else {
            snprintf(line, sizeof line, "error %x", event.data1);
        }
        return line;
    }

  private:
    mutable std::mutex mMutex;
    std::condition_variable mArrived;
    std::vector<std::string> mLines;  // guarded by mMutex, as the rest
    size_t mTaken = 0;
    pthread_t mThread{};
};

using Lines = std::vector<std::string>;

inline std::string emptied(IOMX::buffer_id id) {
    return "emptied #" + std::to_string(id);
}
inline std::string filled(IOMX::buffer_id id, size_t length, const char* flags, int timestamp) {
    return "filled #" + std::to_string(id) + " len " + std::to_string(length) + " flags " + flags + " at " +
           std::to_string(timestamp);
}
inline std::string drained(IOMX::buffer_id id) {
    return filled(id, 0, "0", 0);
}

class HostTest : public ::testing::Test {
  protected:
    static constexpr const char* kName = "OMX.test.copy";

    HostTest() {
        ComponentRegistry registry;
        registry.add(scripted(kName, script));
        omx = makeOmxHost(std::move(registry));
    }

    void allocate() { ASSERT_EQ(OK, omx->allocateNode(kName, observer, &node)); }
    status_t command(OMX_COMMANDTYPE kind, OMX_U32 param) {
        return omx->sendCommand(node, kind, static_cast<OMX_S32>(param));
    }
    status_t setState(OMX_STATETYPE state) { return command(OMX_CommandStateSet, state); }
    OMX_STATETYPE state() {
        OMX_STATETYPE now = OMX_StateInvalid;
        EXPECT_EQ(OK, omx->getState(node, &now));
        return now;
    }
    OMX_PARAM_PORTDEFINITIONTYPE definition(OMX_U32 port) {
        OMX_PARAM_PORTDEFINITIONTYPE params{};
        params.nPortIndex = port;
        EXPECT_EQ(OK, omx->getParameter(node, OMX_IndexParamPortDefinition, &params, sizeof params));
        return params;
    }
    status_t setDefinition(const OMX_PARAM_PORTDEFINITIONTYPE& params) {
        return omx->setParameter(node, OMX_IndexParamPortDefinition, &params, sizeof params);
    }
    status_t addBuffer(OMX_U32 port) {
        IOMX::buffer_id id = 0;
        void* data = nullptr;
        const status_t status = omx->allocateBuffer(node, port, definition(port).nBufferSize, &id, &data);
        if (status == OK) {
            buffers[port].push_back(id);
            bytes[port].push_back(static_cast<uint8_t*>(data));
        }
        return status;
    }
    void populate(OMX_U32 port) {
        for (OMX_U32 left = definition(port).nBufferCountActual; left > 0; --left) {
            ASSERT_EQ(OK, addBuffer(port));
        }
    }
    void freeBuffers(OMX_U32 port) {
        for (const IOMX::buffer_id id : buffers[port]) {
            EXPECT_EQ(OK, omx->freeBuffer(node, port, id));
        }
        buffers[port].clear();
        bytes[port].clear();
    }
    /// Another client: nothing heard, no buffers. The present node, if any, stays.
    void startAfresh() {
        observer = new Recorder;
        for (OMX_U32 port = 0; port < kPortCount; ++port) {
            buffers[port].clear();
            bytes[port].clear();
        }
    }
    /// A new node in `wanted`, its messages taken.
    void bringTo(OMX_STATETYPE wanted) {
        allocate();
        if (wanted == OMX_StateLoaded) {
            return;
        }
        ASSERT_EQ(OK, setState(OMX_StateIdle));
        populate(kInputPort);
        populate(kOutputPort);
        ASSERT_EQ(Lines{"state 2"}, observer->take(1));
        if (wanted != OMX_StateIdle) {
            ASSERT_EQ(OK, setState(wanted));
            ASSERT_EQ(Lines{"state " + std::to_string(wanted)}, observer->take(1));
        }
    }
    status_t empty(size_t which, const std::string& payload, OMX_U32 flags, OMX_TICKS timestamp) {
        memcpy(bytes[kInputPort][which], payload.data(), payload.size());
        return omx->emptyBuffer(node, buffers[kInputPort][which], 0, static_cast<OMX_U32>(payload.size()),
                                flags, timestamp);
    }
    status_t fill(size_t which) { return omx->fillBuffer(node, buffers[kOutputPort][which]); }
    void fillAll() {
        for (size_t i = 0; i < buffers[kOutputPort].size(); ++i) {
            ASSERT_EQ(OK, fill(i));
        }
    }
    /// Waits, boundedly, until `done`.
    static bool eventually(const std::function<bool()>& done) {
        for (int tries = 0; tries < 10000 && !done(); ++tries) {
            usleep(1000);
        }
        return done();
    }
    void TearDown() override {
        script->openGate();
        if (node != 0) {
            omx->freeNode(node);  // some tests have freed it themselves
        }
        omx.clear();
        EXPECT_EQ(script->created, script->destroyed);
    }

    std::shared_ptr<Script> script = std::make_shared<Script>();
    sp<Recorder> observer = new Recorder;
    sp<IOMX> omx;
    IOMX::node_id node = 0;
    std::vector<IOMX::buffer_id> buffers[kPortCount];
    std::vector<uint8_t*> bytes[kPortCount];  // the buffers' memory, in the same order
};

}  // namespace zem::test
