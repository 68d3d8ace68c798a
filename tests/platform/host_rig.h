// A client of the component host for tests: one node, its buffers and its messages.
#pragma once

#include <binder/MemoryDealer.h>
#include <gtest/gtest.h>
#include <media/IOMX.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/omx_host/omx_host.h"
#include "tests/support/scripted_component.h"
#include "tests/support/waiting.h"

namespace zem::test {

using android::IOMX;
using android::OK;
using android::omx_message;
using android::sp;
using android::status_t;

using Lines = std::vector<std::string>;

inline std::string emptied(IOMX::buffer_id id) {
    return "emptied #" + std::to_string(id);
}
inline std::string filled(IOMX::buffer_id id, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    return "filled #" + std::to_string(id) + " with " + std::to_string(length) + ", flags " +
           std::to_string(flags) + " at " + std::to_string(timestamp);
}
/// An output buffer that came back unused.
inline std::string drained(IOMX::buffer_id id) {
    return filled(id, 0, 0, 0);
}

/// Keeps what a node said.
class Recorder final : public android::BnOMXObserver {
  public:
    /// Runs in onMessage, after the message is kept. Set before the node is allocated.
    std::function<void(const omx_message&)> hook;

    void onMessage(const omx_message& msg) override {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mMessages.push_back(msg);
            mArrived.notify_all();
        }
        if (hook) {
            hook(msg);
        }
    }
    /// Takes the next message, waiting for it; false when none comes.
    bool next(omx_message* msg) {
        std::unique_lock<std::mutex> lock(mMutex);
        if (!mArrived.wait_for(lock, kSoon, [this] { return !mMessages.empty(); })) {
            return false;
        }
        *msg = mMessages.front();
        mMessages.pop_front();
        return true;
    }
    /// The next `count` messages as readable lines; fewer when they do not come.
    Lines take(size_t count) {
        Lines lines;
        for (omx_message msg{}; lines.size() < count && next(&msg);) {
            lines.push_back(text(msg));
        }
        return lines;
    }

  private:
    static std::string text(const omx_message& msg) {
        if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            return emptied(msg.u.buffer_data.buffer);
        }
        if (msg.type == omx_message::FILL_BUFFER_DONE) {
            const auto& fill = msg.u.extended_buffer_data;
            return filled(fill.buffer, fill.range_length, fill.flags, fill.timestamp);
        }
        const auto& event = msg.u.event_data;
        if (event.event == OMX_EventCmdComplete) {
            static const char* const kCommands[] = {"state ", "flushed ", "disabled ", "enabled "};
            return kCommands[event.data1 & 3] + std::to_string(event.data2);
        }
        char line[32];
        snprintf(line, sizeof line, "event %d: %x", event.event, event.data1);
        return line;
    }

    std::mutex mMutex;
    std::condition_variable mArrived;
    std::deque<omx_message> mMessages;  // guarded by mMutex; those not yet taken
};

struct NodeClient {
    NodeClient(const sp<IOMX>& host, const char* component) : omx(host), name(component) {}

    void allocate() { ASSERT_EQ(OK, omx->allocateNode(name, observer, &node)); }
    status_t command(OMX_COMMANDTYPE kind, OMX_U32 param) {
        return omx->sendCommand(node, kind, static_cast<OMX_S32>(param));
    }
    status_t setState(OMX_STATETYPE state) { return command(OMX_CommandStateSet, state); }
    OMX_STATETYPE state() {
        OMX_STATETYPE now = OMX_StateInvalid;
        EXPECT_EQ(OK, omx->getState(node, &now));
        return now;
    }
    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 index) {
        OMX_PARAM_PORTDEFINITIONTYPE params{};  // size and version unfilled, as the engine leaves them
        params.nPortIndex = index;
        EXPECT_EQ(OK, omx->getParameter(node, OMX_IndexParamPortDefinition, &params, sizeof params));
        return params;
    }
    status_t setPort(const OMX_PARAM_PORTDEFINITIONTYPE& params) {
        return omx->setParameter(node, OMX_IndexParamPortDefinition, &params, sizeof params);
    }
    status_t addBuffer(OMX_U32 index) {
        IOMX::buffer_id id = 0;
        void* data = nullptr;
        const status_t status = omx->allocateBuffer(node, index, port(index).nBufferSize, &id, &data);
        if (status == OK) {
            buffers[index].push_back(id);
            bytes[index].push_back(static_cast<uint8_t*>(data));
        }
        return status;
    }
    void populate(OMX_U32 index) {
        while (buffers[index].size() < port(index).nBufferCountActual) {
            ASSERT_EQ(OK, addBuffer(index));
        }
    }
    void freeBuffers(OMX_U32 index, size_t count = SIZE_MAX) {
        for (; count > 0 && !buffers[index].empty(); --count) {
            EXPECT_EQ(OK, omx->freeBuffer(node, index, buffers[index].back()));
            buffers[index].pop_back();
            bytes[index].pop_back();
        }
    }
    /// From Loaded; the messages taken.
    void advanceTo(OMX_STATETYPE wanted) {
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
    status_t empty(size_t which, const std::string& payload, OMX_U32 flags = 0, OMX_TICKS timestamp = 0) {
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

    sp<IOMX> omx;
    const char* name;
    sp<Recorder> observer = new Recorder;
    IOMX::node_id node = 0;
    std::vector<IOMX::buffer_id> buffers[kPortCount];
    std::vector<uint8_t*> bytes[kPortCount];  // the buffers' memory, in the same order
};

class HostTest : public ::testing::Test, protected NodeClient {
  protected:
    HostTest() : NodeClient(nullptr, "OMX.test.copy") {
        ComponentRegistry registry;
        registry.add(scripted(name, script));
        omx = makeOmxHost(std::move(registry));
    }
    /// A new node in `wanted`; the present one, if any, is freed.
    void bringTo(OMX_STATETYPE wanted) {
        if (node != 0) {
            ASSERT_EQ(OK, omx->freeNode(node));
        }
        const auto hook = observer->hook;
        static_cast<NodeClient&>(*this) = NodeClient(omx, name);
        observer->hook = hook;
        allocate();
        advanceTo(wanted);
    }
    void TearDown() override {
        script->openGate();
        omx->freeNode(node);  // some tests have freed it themselves
        omx.clear();
        EXPECT_EQ(script->created, script->destroyed);
    }

    std::shared_ptr<Script> script = std::make_shared<Script>();
};

}  // namespace zem::test
