// Whole sessions under faults, haste and bad manners. Would catch: a node, buffer or thread left by
// any failing call, a message into a freed interface, memory unmapped under a callback, a teardown
// that waits for itself. Meant above all for the sanitizer builds.
#include <dirent.h>

#include "omx/hardware_base.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

int entriesOf(const char* folder) {
    DIR* dir = opendir(folder);
    int count = 0;
    while (dir != nullptr && readdir(dir) != nullptr) {
        count++;
    }
    if (dir != nullptr) {
        closedir(dir);
    }
    return count;
}

class SessionTest : public OmxTest {
  protected:
    /// Open, one frame in, one unit out, end of stream, close. True when all of it went well.
    bool session(int hardwareBase, bool bypass) {
        encoderParams params{64, 48, 30, 2, 100000, 30, hardwareBase, kCodec};
        QcomOmxInterfaceEncoder* created = nullptr;
        if (QcomOmxInterfaceEncoder::Create(&created, &params) != 0) {
            EXPECT_EQ(nullptr, created);
            return false;
        }
        const std::unique_ptr<QcomOmxInterfaceEncoder> encoder(created);
        Outputs outputs;
        encoder->registerOutputCallback(Outputs::callback, &outputs);
        const bool started = encoder->init() == 0;
        void* buffer = nullptr;
        void* data = nullptr;
        bool sent = started && encoder->reserveInputBuffer(&buffer, &data) == 0;
        sent = sent && encoder->sendInputBuffer(buffer, 10, 33333) == 0;
        mOmx->waitDelivered();
        sent = sent && encoder->sendFinalBuffer(&g_finalEncoderBuffer, 66666) == 0;
        const int end = encoder->deInit(bypass);
        encoder->ExitDataOutputThread();
        return sent && end == (bypass ? 33 : 0) && (bypass || outputs.seen().size() == 2);
    }
};

TEST_F(SessionTest, AnyFailingCallLeavesNothingBehind) {
    mOmx->setInputHandler([this](const SentInput& input) {
        if (input.flags == 0) {
            mOmx->queueOutput(input.bytes);
        }
    });
    for (const int base : {HW_BASE_QCOM_8974, HW_BASE_EXYNOS}) {
        for (const bool bypass : {false, true}) {
            mOmx->forgetCalls();
            ASSERT_TRUE(session(base, bypass));
            const int calls = static_cast<int>(mOmx->calls().size());
            for (int n = 1; n <= calls; n++) {
                mOmx->refuseCall(n);
                session(base, bypass);
                mOmx->refuseCall(0);
                ASSERT_EQ(0, mOmx->liveNodes()) << n;
                ASSERT_EQ(0, mOmx->liveBuffers()) << n;
            }
            EXPECT_TRUE(session(base, bypass)) << "the next open works";
        }
    }
}

TEST_F(SessionTest, OpeningAndClosingInHasteLeavesNoThreadOrFile) {
    mOmx->setInputHandler([this](const SentInput& input) {
        if (input.flags == 0) {
            mOmx->queueOutput(input.bytes);
        }
    });
    const int threads = entriesOf("/proc/self/task");
    const int files = entriesOf("/proc/self/fd");
    auto cycles = std::async(std::launch::async, [this] {
        for (int i = 0; i < 50; i++) {
            EXPECT_TRUE(session(HW_BASE_QCOM_8974, i % 2 == 0)) << i;
        }
    });
    ASSERT_EQ(std::future_status::ready, cycles.wait_for(kSoon));
    cycles.get();
    EXPECT_TRUE(eventually([&] { return entriesOf("/proc/self/task") == threads; }));
    EXPECT_EQ(files, entriesOf("/proc/self/fd"));
}

TEST_F(SessionTest, MessagesRaceWithDestruction) {
    for (int i = 0; i < 20; i++) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        const auto in = mOmx->buffers(0);
        const auto out = mOmx->buffers(1);
        std::atomic<bool> stop{false};
        std::thread sender([&] {
            while (!stop) {
                mOmx->sendFilled(out[0], 16);
                mOmx->sendEmptied(in[0]);
                mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandStateSet, OMX_StateExecuting);
                mOmx->sendFilled(out[1], 4096, OMX_BUFFERFLAG_EOS);
                mOmx->waitDelivered();
            }
        });
        if (i % 2 == 0) {
            component->deInit(true);
        }
        component.reset();
        stop = true;
        sender.join();
    }
    mOmx->sendFilled(1, 1);  // long after freeNode
    mOmx->waitDelivered();
    EXPECT_EQ(0, mOmx->liveNodes());
}

/// An output callback that is inside a buffer until it is let go.
struct SlowReader {
    static int callback(void* /*interface*/, void* data, unsigned int length, void* user) {
        auto* self = static_cast<SlowReader*>(user);
        self->entered.set_value();
        self->leave.get_future().wait();
        const auto* bytes = static_cast<const uint8_t*>(data);
        for (unsigned int i = 0; i < length; i++) {
            self->sum += bytes[i];
        }
        return 0;
    }
    std::promise<void> entered;
    std::promise<void> leave;
    int sum = 0;
};

TEST_F(SessionTest, BuffersOutliveTheirPortUnderASlowCallback) {
    for (const bool bypass : {true, false}) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        SlowReader reader;
        component->registerOutputCallback(SlowReader::callback, &reader);
        mOmx->queueOutput({1, 2, 3});
        reader.entered.get_future().wait();
        // A second one: the message thread now waits for the queue, which the callback holds.
        mOmx->sendFilled(mOmx->heldBuffers(1)[0], 1);
        EXPECT_EQ(bypass ? 33 : 0, component->deInit(bypass));
        EXPECT_EQ(0, mOmx->liveBuffers());
        auto deletion = std::async(std::launch::async, [&] { component.reset(); });
        EXPECT_EQ(std::future_status::timeout, deletion.wait_for(std::chrono::milliseconds(20)))
            << "the interface must not go while its callback runs";
        reader.leave.set_value();
        ASSERT_EQ(std::future_status::ready, deletion.wait_for(kSoon));
        EXPECT_EQ(6, reader.sum);
    }
}

TEST_F(SessionTest, FilledBuffersOfAFreedPortAreForgotten) {
    BareComponent component;
    start(component);
    SlowReader reader;
    component.registerOutputCallback(SlowReader::callback, &reader);
    mOmx->queueOutput({4});
    reader.entered.get_future().wait();
    const auto held = mOmx->heldBuffers(1);
    mOmx->forgetCalls();
    EXPECT_EQ(0, component.freeBuffersOnPort(1));
    mOmx->sendFilled(held[0], 1);  // too late: unknown by now, and an error
    reader.leave.set_value();
    ASSERT_TRUE(eventually([&] { return component.threadError() == 24; }));
    component.ExitDataOutputThread();
    EXPECT_EQ(4, reader.sum);
    EXPECT_EQ(0, mOmx->callCount("fillBuffer"));
}

TEST_F(SessionTest, DestructionWaitsForTheMessageBeingHandled) {
    struct Blocker {
        std::promise<void> entered;
        std::promise<void> leave;
    } blocker;
    auto component = std::make_unique<BareComponent>();
    start(*component);
    component->registerInputCallback(
        [](void* /*interface*/, void* user) {
            static_cast<Blocker*>(user)->entered.set_value();
            static_cast<Blocker*>(user)->leave.get_future().wait();
            return 0;
        },
        &blocker);
    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    blocker.entered.get_future().wait();
    auto deletion = std::async(std::launch::async, [&] { component.reset(); });
    EXPECT_EQ(std::future_status::timeout, deletion.wait_for(std::chrono::milliseconds(20)));
    blocker.leave.set_value();
    ASSERT_EQ(std::future_status::ready, deletion.wait_for(kSoon));
}

TEST_F(SessionTest, OutputThreadCannotJoinItself) {
    BareComponent component;
    start(component);
    component.registerOutputCallback(
        [](void* interface, void*, unsigned int, void*) {
            static_cast<QcomOmxInterface*>(interface)->ExitDataOutputThread();
            return 0;
        },
        nullptr);
    mOmx->queueOutput({1});
    ASSERT_TRUE(eventually([] { return loggedCount("called on the output thread itself") == 1; }));
    component.ExitDataOutputThread();
    component.ExitDataOutputThread();
    EXPECT_EQ(1, loggedCount("QcomOmxInterface::DataOutputThread -"));
}

}  // namespace
}  // namespace zem::test
