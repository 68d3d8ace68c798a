// Proves that a node can be freed at any moment, from any thread, and is silent afterwards. Would catch
// a dead-lock between freeNode and the message being delivered, a message after freeNode, a worker
// that uses freed buffers, and a thread or a component left behind.
#include <dirent.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

class OmxTeardown : public HostTest {
  protected:
    /// Runs `body` on a thread of its own; false when it has not ended within 20 s, which no later
    /// join may wait for: the test then ends the process.
    static void bounded(const std::function<void()>& body) {
        std::promise<void> done;
        std::thread runner([&] {
            body();
            done.set_value();
        });
        if (done.get_future().wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            fprintf(stderr, "dead-lock\n");
            abort();
        }
        runner.join();
    }
    /// Threads of this process that the host started.
    static int hostThreads() {
        int count = 0;
        DIR* tasks = opendir("/proc/self/task");
        for (const dirent* entry; tasks != nullptr && (entry = readdir(tasks)) != nullptr;) {
            char path[300];
            char name[32] = "";
            snprintf(path, sizeof path, "/proc/self/task/%s/comm", entry->d_name);
            if (FILE* file = fopen(path, "r"); file != nullptr) {
                count += fgets(name, sizeof name, file) != nullptr && strncmp(name, "omx-", 4) == 0 ? 1 : 0;
                fclose(file);
            }
        }
        if (tasks != nullptr) {
            closedir(tasks);
        }
        return count;
    }
};

TEST_F(OmxTeardown, LegalInEveryState) {
    const int before = hostThreads();
    for (const OMX_STATETYPE state : {OMX_StateLoaded, OMX_StateIdle, OMX_StateExecuting, OMX_StatePause}) {
        startAfresh();
        bringTo(state);
        EXPECT_EQ(before + 2, hostThreads());
        bounded([this] { EXPECT_EQ(OK, omx->freeNode(node)); });
        EXPECT_EQ(before, hostThreads());
    }
    EXPECT_EQ(2, script->starts);
    EXPECT_EQ(2, script->stops);
    EXPECT_NE(OK, setState(OMX_StateIdle));
    node = 0;
}

TEST_F(OmxTeardown, HalfPopulatedAndInMidCommand) {
    allocate();
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, addBuffer(kInputPort));
    bounded([this] { EXPECT_EQ(OK, omx->freeNode(node)); });
    startAfresh();
    bringTo(OMX_StateExecuting);
    script->closeGate();
    ASSERT_EQ(OK, empty(0, "slow", 0, 0));
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, setState(OMX_StateLoaded));
    std::thread freeing([this] { EXPECT_EQ(OK, omx->freeNode(node)); });
    script->openGate();
    bounded([&] { freeing.join(); });
    node = 0;
}

TEST_F(OmxTeardown, WaitsForTheMessageUnderWayAndDropsTheRest) {
    std::atomic<bool> inside{false};
    std::atomic<bool> finish{false};
    std::atomic<int> handled{0};
    observer->hook = [&](const omx_message& msg) {
        if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            inside = true;
            ASSERT_TRUE(eventually([&] { return finish.load(); }));
            ++handled;
        }
    };
    bringTo(OMX_StateExecuting);
    script->keepOutputs = true;
    ASSERT_EQ(OK, empty(0, "1", 0, 0));
    ASSERT_EQ(OK, empty(1, "2", 0, 0));
    ASSERT_EQ(OK, empty(2, "3", 0, 0));
    ASSERT_TRUE(eventually([&] { return inside && script->inputs == 3; }));
    // Other calls do not wait for the delivery.
    bounded([this] { EXPECT_EQ(OK, fill(0)); });
    std::atomic<bool> freed{false};
    std::thread freeing([&] {
        EXPECT_EQ(OK, omx->freeNode(node));
        freed = true;
    });
    usleep(20000);
    EXPECT_FALSE(freed);
    finish = true;
    bounded([&] { freeing.join(); });
    EXPECT_EQ(1, handled);
    node = 0;
}

TEST_F(OmxTeardown, FromInsideItsOwnMessage) {
    const int before = hostThreads();
    std::atomic<bool> freed{false};
    std::atomic<int> after{0};
    observer->hook = [&](const omx_message& msg) {
        after += freed ? 1 : 0;
        if (msg.type == omx_message::EMPTY_BUFFER_DONE && !freed) {
            EXPECT_EQ(OK, omx->freeNode(node));
            freed = true;
        }
    };
    bringTo(OMX_StateExecuting);
    fillAll();
    ASSERT_EQ(OK, empty(0, "1", 0, 0));
    // May come too late and is refused then; the buffer's own memory may be gone by now.
    omx->emptyBuffer(node, buffers[kInputPort][1], 0, 1, 0, 0);
    ASSERT_TRUE(eventually([&] { return freed.load(); }));
    EXPECT_TRUE(eventually([&] { return hostThreads() == before; }));
    EXPECT_EQ(0, after);
    node = 0;
}

TEST_F(OmxTeardown, HostGoesWithItsNodes) {
    bringTo(OMX_StateExecuting);
    fillAll();
    const int before = hostThreads();
    bounded([this] { omx.clear(); });
    EXPECT_EQ(before - 2, hostThreads());
    EXPECT_EQ(1, script->destroyed);
    node = 0;
}

// The engine's forced close: buffers freed and node freed while everything runs.
TEST_F(OmxTeardown, UnderLoadAgainAndAgain) {
    constexpr int kRounds = 150;
    std::atomic<bool> freed{false};
    std::atomic<int> late{0};
    const auto hook = [&](const omx_message& msg) {
        late += freed ? 1 : 0;
        if (msg.type == omx_message::FILL_BUFFER_DONE) {
            omx->fillBuffer(msg.node, msg.u.extended_buffer_data.buffer);
        } else if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            omx->emptyBuffer(msg.node, msg.u.buffer_data.buffer, 0, 64, 0, 0);
        }
    };
    for (int round = 0; round < kRounds; ++round) {
        freed = false;
        startAfresh();
        observer->hook = hook;
        allocate();
        ASSERT_EQ(OK, setState(OMX_StateIdle));
        populate(kInputPort);
        populate(kOutputPort);
        ASSERT_EQ(OK, setState(OMX_StateExecuting));
        ASSERT_TRUE(eventually([this] { return state() == OMX_StateExecuting; }));
        fillAll();
        for (size_t i = 0; i < buffers[kInputPort].size(); ++i) {
            ASSERT_EQ(OK, empty(i, "load", 0, 0));
        }
        usleep(static_cast<useconds_t>(round % 7) * 100);
        bounded([&] {
            if (round % 2 == 0) {
                freeBuffers(kOutputPort);
                freeBuffers(kInputPort);
            }
            EXPECT_EQ(OK, omx->freeNode(node));
            freed = true;
        });
        ASSERT_EQ(round + 1, script->destroyed);
    }
    EXPECT_EQ(0, late);
    node = 0;
}

TEST_F(OmxTeardown, ManyNodesFromManyThreads) {
    bounded([this] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([this] {
                for (int round = 0; round < 25; ++round) {
                    const sp<Recorder> own = new Recorder;
                    IOMX::node_id id = 0;
                    ASSERT_EQ(OK, omx->allocateNode(kName, own, &id));
                    ASSERT_EQ(OK, omx->sendCommand(id, OMX_CommandFlush, kInputPort));
                    EXPECT_EQ(Lines{"flushed 0"}, own->take(1));
                    ASSERT_EQ(OK, omx->freeNode(id));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(100, script->destroyed);
}

}  // namespace
}  // namespace zem::test
