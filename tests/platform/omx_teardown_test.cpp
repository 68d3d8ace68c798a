// Proves that a node can be freed at any moment and is silent afterwards. Would catch a dead-lock between
// freeNode and the message being delivered, a message after freeNode, a worker that uses freed buffers, and a
// thread or a component left behind. A dead-lock runs into the test's time limit.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

class OmxTeardown : public HostTest {};

/// The host's, by their names: others come and go as the sanitizer, the emulator and a busy kernel like.
int hostThreads() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        count += name.rfind("omx-", 0) == 0 ? 1 : 0;
    }
    return count;
}

TEST_F(OmxTeardown, LegalInEveryStateAndNoThreadStays) {
    for (const OMX_STATETYPE state : {OMX_StateLoaded, OMX_StateIdle, OMX_StateExecuting, OMX_StatePause}) {
        bringTo(state);
        EXPECT_EQ(2, hostThreads());
        EXPECT_EQ(OK, omx->freeNode(node));
        EXPECT_NE(OK, omx->freeNode(node));
        ASSERT_TRUE(eventually([] { return hostThreads() == 0; }))
            << "one that was joined is still listed for a moment";
        node = 0;
    }
    EXPECT_EQ(2, script->starts);
    EXPECT_EQ(2, script->stops);
    EXPECT_NE(OK, setState(OMX_StateIdle));
}

TEST_F(OmxTeardown, WaitsForTheMessageUnderWayAndDropsTheRest) {
    std::atomic<bool> inside{false};
    std::atomic<bool> finish{false};
    std::atomic<int> handled{0};
    observer->hook = [&](const omx_message& msg) {
        if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            inside = true;
            EXPECT_TRUE(eventually([&] { return finish.load(); }));
            ++handled;
        }
    };
    script->keepOutputs = true;
    bringTo(OMX_StateExecuting);
    ASSERT_EQ(OK, empty(0, "1"));
    ASSERT_EQ(OK, empty(1, "2"));
    ASSERT_TRUE(eventually([&] { return inside && script->inputs == 2; }));
    EXPECT_EQ(OK, fill(0));  // other calls do not wait for the delivery
    std::atomic<bool> freed{false};
    std::thread freeing([&] {
        EXPECT_EQ(OK, omx->freeNode(node));
        freed = true;
    });
    OMX_STATETYPE now{};
    EXPECT_TRUE(eventually([&] { return omx->getState(node, &now) != OK; }));  // it has begun
    usleep(20000);
    EXPECT_FALSE(freed);
    finish = true;
    freeing.join();
    EXPECT_EQ(1, handled);
}

// The engine's forced close: buffers freed and node freed while everything runs.
TEST_F(OmxTeardown, UnderLoadAgainAndAgain) {
    std::atomic<bool> freed{false};
    std::atomic<int> late{0};
    observer->hook = [&](const omx_message& msg) {
        late += freed ? 1 : 0;
        if (msg.type == omx_message::FILL_BUFFER_DONE) {
            omx->fillBuffer(msg.node, msg.u.extended_buffer_data.buffer);
        } else if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            omx->emptyBuffer(msg.node, msg.u.buffer_data.buffer, 0, 64, 0, 0);
        }
    };
    for (int round = 0; round < 60; ++round) {
        freed = false;
        bringTo(OMX_StateExecuting);
        fillAll();
        for (size_t i = 0; i < buffers[kInputPort].size(); ++i) {
            ASSERT_EQ(OK, empty(i, "load"));
        }
        usleep(static_cast<useconds_t>(round % 7) * 100);
        if (round % 2 == 0) {
            freeBuffers(kOutputPort);
            freeBuffers(kInputPort);
        }
        EXPECT_EQ(OK, omx->freeNode(node));
        node = 0;
        freed = true;
    }
    EXPECT_EQ(0, late);
}

}  // namespace
}  // namespace zem::test
