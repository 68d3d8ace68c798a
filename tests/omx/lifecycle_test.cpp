// Connection, start and stop against a host that follows the rules, hangs or refuses. Would catch: a
// state command out of order, a wait left out or without limit, a wake-up lost at teardown, an error
// overwritten, a code mixed up, a node or buffer left in the service, a message into a freed interface,
// memory unmapped under a callback, an interface freed under a callback of its own, a closed interface
// that ends another one's output thread, a thread without a slot past the hundredth. Meant above all for
// the sanitizer builds.
#include "omx/check_output_thread.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

using LifecycleTest = OmxTest;

TEST_F(LifecycleTest, WalksTheStatesAndFreesEverythingInOrder) {
    auto component = std::make_unique<BareComponent>();
    start(*component);
    EXPECT_EQ(OMX_StateExecuting, component->omxState());
    EXPECT_EQ((std::vector<android::IOMX::buffer_id>{101, 102}), mOmx->buffers(0));
    EXPECT_EQ(0, component->sendEndOfInputFlag(0));
    ASSERT_TRUE(eventually([&] { return component->frameIsLast(); }));
    mOmx->waitDelivered();
    EXPECT_EQ(0, component->deInit(false));
    component.reset();
    std::string calls;
    for (const std::string& call : mOmx->calls()) {
        calls += call + "; ";
    }
    EXPECT_EQ(
        std::string("listNodes; allocateNode ") + kCodec +
            "; sendCommand 0 2; getParameter 2000001 0; useBuffer 0; useBuffer 0; "
            "getParameter 2000001 1; useBuffer 1; useBuffer 1; sendCommand 0 3; fillBuffer 103; "
            "fillBuffer 104; emptyBuffer 101 0 1 0; sendCommand 0 2; sendCommand 0 1; freeBuffer 1 104; "
            "freeBuffer 1 103; freeBuffer 0 102; freeBuffer 0 101; freeNode 1; ",
        calls);
}

TEST_F(LifecycleTest, HangingComponentIsLeftAfterTheLimits) {
    BareComponent component;
    ASSERT_EQ(0, component.setupIOMXConnections());
    mOmx->setStateAnswer(Answer::kNever);
    mClock.forget();
    EXPECT_EQ(0, component.init());
    EXPECT_EQ((std::vector<int64_t>{3000000, 3000000}), mClock.ownPauses());
    mClock.forget();
    EXPECT_EQ(0, component.deInit(false));
    EXPECT_EQ((std::vector<int64_t>{3000000, 100000, 3000000, 2000000, 3000000}), mClock.ownPauses());
    EXPECT_EQ(0, mOmx->liveBuffers());
    component.ExitDataOutputThread();
}

TEST_F(LifecycleTest, FirstErrorStaysUntilTheStreamIsAbandoned) {
    BareComponent component;
    start(component);
    component.setThreadError(8);
    component.setThreadError(24);
    EXPECT_EQ(1, mInputCalls.count) << "told once";
    EXPECT_EQ(8, component.deInit(false));
    EXPECT_EQ(0, loggedCount("wait to end")) << "no last frame will come";

    BareComponent abandoned;
    start(abandoned);
    abandoned.setThreadError(8);
    mOmx->forgetCalls();
    EXPECT_EQ(33, abandoned.deInit(true));
    EXPECT_EQ(0, mOmx->callCount("sendCommand"));
    EXPECT_EQ(0, mOmx->liveBuffers());
}

TEST_F(LifecycleTest, ErrorEventIsOnlyTold) {
    BareComponent component;
    start(component);
    mOmx->sendEvent(OMX_EventError, static_cast<OMX_U32>(-2147479551), 5);
    mOmx->waitDelivered();
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - Event error = -2147479551, data2 5 \n"));
    EXPECT_EQ(0, component.threadError());
    EXPECT_EQ(OMX_StateExecuting, component.omxState());
}

TEST_F(LifecycleTest, ConnectionRefusals) {
    int result = -1;
    EXPECT_TRUE(QcomOmxInterface::OmxComponentCanBeAcquired(kCodec, result));
    EXPECT_EQ(0, result);
    EXPECT_FALSE(QcomOmxInterface::OmxComponentCanBeAcquired(nullptr, result));
    EXPECT_EQ(6, result);
    BareComponent component;
    mOmx->refuse("allocateNode");
    EXPECT_EQ(4, component.setupIOMXConnections());
    component.mComponentName = "OMX.none";
    EXPECT_EQ(6, component.setupIOMXConnections());
    BareComponent alone;
    // A binder of no interface: what is left to a client when the service's process is gone.
    android::defaultServiceManager()->addService(android::String16("media.player"), new android::BBinder);
    EXPECT_EQ(1, alone.acquireOmxFromMediaPlayer());
    EXPECT_EQ(3, alone.setupIOMXConnections());
    serveOmx(nullptr);  // a media service without a component host
    EXPECT_EQ(3, alone.acquireOmxFromMediaPlayer());
}

TEST_F(LifecycleTest, RefusalsGiveTheirCode) {
    const struct {
        const char* call;
        int n, init, deInit;
    } refusals[] = {{"sendCommand", 1, 20, 0}, {"sendCommand", 2, 21, 0},  {"sendCommand", 3, 0, 20},
                    {"sendCommand", 4, 0, 20}, {"getParameter", 2, 13, 0}, {"useBuffer", 3, 15, 0},
                    {"fillBuffer", 2, 8, 0},   {"freeBuffer", 1, 0, 0}};
    for (const auto& c : refusals) {
        BareComponent component;
        ASSERT_EQ(0, component.setupIOMXConnections());
        mOmx->refuse(c.call, c.n);
        EXPECT_EQ(c.init, component.init()) << c.call << " " << c.n;
        EXPECT_EQ(c.deInit, component.deInit(false)) << c.call << " " << c.n;
    }
    EXPECT_EQ(0, mOmx->liveNodes());
}

TEST_F(LifecycleTest, AbsurdPortsAreRefused) {
    const struct {
        OMX_U32 count, size;
        int result;
    } cases[] = {{10001, 32, 13}, {3, 0, 15}, {10000, UINT32_MAX, 15}};
    for (const auto& c : cases) {
        BareComponent component;
        ASSERT_EQ(0, component.setupIOMXConnections());
        mOmx->setBuffers(1, c.count, c.size);
        EXPECT_EQ(c.result, component.allocateBuffersOnPort(1)) << c.count << " x " << c.size;
    }
}

/// No way of ending a component may depend on a time-out when the component answers.
TEST_F(LifecycleTest, TeardownNeedsNoTimeOut) {
    const LongWaits waits(mClock);
    for (const char* how : {"stopped", "abandoned", "deleted"}) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        mOmx->forgetCalls();
        mOmx->queueOutput({1});
        ASSERT_TRUE(eventually([&] { return mOmx->callCount("fillBuffer") == 1; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // the output thread now waits
        expectEnds([&] {
            if (how[0] == 's') {
                component->setThreadError(8);  // else it waits for a last frame that nobody sent
                mOmx->refuse("sendCommand");   // so that no returning buffer wakes the thread instead
                EXPECT_EQ(20, component->deInit(false));
                component->ExitDataOutputThread();
            } else if (how[0] == 'a') {
                EXPECT_EQ(33, component->deInit(true));
                component->ExitDataOutputThread();
            }
            component.reset();
        });
        EXPECT_EQ(0, mOmx->liveNodes()) << how;
    }
}

TEST_F(LifecycleTest, MessagesRaceWithDestruction) {
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

/// Callbacks that stay inside until they are let go, and only then read what they were given.
struct Slow {
    static int output(void* /*interface*/, void* data, unsigned int length, void* user) {
        auto* self = static_cast<Slow*>(user);
        input(nullptr, user);
        const auto* bytes = static_cast<const uint8_t*>(data);
        self->read.assign(bytes, bytes + length);
        return 0;
    }
    static int input(void* /*interface*/, void* user) {
        auto* self = static_cast<Slow*>(user);
        self->entered.set_value();
        self->leave.get_future().wait();
        return 0;
    }
    std::promise<void> entered;
    std::promise<void> leave;
    Outputs::Unit read;
};

TEST_F(LifecycleTest, InterfaceAndBuffersOutliveTheCallbackUnderWay) {
    for (const char* when : {"emptied", "filled, stopped", "filled, abandoned"}) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        Slow slow;
        const bool emptied = when[0] == 'e';
        if (emptied) {
            component->registerInputCallback(Slow::input, &slow);
            mOmx->sendEmptied(mOmx->buffers(0)[0]);
        } else {
            component->registerOutputCallback(Slow::output, &slow);
            mOmx->queueOutput({1, 2, 3});
        }
        slow.entered.get_future().wait();
        if (!emptied) {
            // A second one: the message thread now waits for the queue, which the callback holds.
            mOmx->sendFilled(mOmx->heldBuffers(1)[0], 1);
            const bool abandoned = when[8] == 'a';
            EXPECT_EQ(abandoned ? 33 : 0, component->deInit(abandoned));
            EXPECT_EQ(0, mOmx->liveBuffers());
        }
        auto deletion = std::async(std::launch::async, [&] { component.reset(); });
        EXPECT_EQ(std::future_status::timeout, deletion.wait_for(std::chrono::milliseconds(20))) << when;
        slow.leave.set_value();
        expectEnd(std::move(deletion));
        EXPECT_EQ(emptied ? Outputs::Unit{} : (Outputs::Unit{1, 2, 3}), slow.read);
    }
}

TEST(Registry, LateOwnerLeavesTheSlotsNewOwnerAlone) {
    CheckOutputThread registry;
    int first = 0;
    int second = 0;
    const int slot = registry.add(&first);
    registry.del(slot);
    EXPECT_FALSE(registry.isAlive(slot));
    ASSERT_EQ(slot, registry.add(&second));
    registry.del(slot, first);
    EXPECT_EQ(second, registry.getCount(slot));
    registry.del(slot, second);
    EXPECT_FALSE(registry.isAlive(slot));
}

TEST(Registry, HundredAndFirstSharesSlotZeroWithoutTakingIt) {
    CheckOutputThread registry;
    for (int i = 0; i < 100; i++) {
        EXPECT_EQ(i, registry.add());
    }
    int serial = 0;
    EXPECT_EQ(0, registry.add(&serial));
    EXPECT_EQ(101, serial);
    registry.del(0, serial);
    EXPECT_EQ(1, registry.getCount(0)) << "the sharer must not end the owner's thread";
    for (const int outside : {-1, 100}) {
        registry.del(outside);
        EXPECT_FALSE(registry.isAlive(outside));
    }
}

}  // namespace
}  // namespace zem::test
