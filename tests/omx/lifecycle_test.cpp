// Connection, start and stop against a host that follows the rules, hangs or refuses. Would catch: a
// state command out of order, a wait left out or without limit, a wake-up lost at teardown, an error
// overwritten, a code mixed up, a node or buffer left in the service.
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

/// Lists the lengths of one thread's sleeps and waits in milliseconds, in one order.
class ThreadClock final : public Clock {
  public:
    ThreadClock() { setClock(this); }
    ~ThreadClock() override { setClock(nullptr); }
    void sleepMicros(int64_t micros) override { record(micros); }
    timespec deadlineAfterMicros(int64_t micros) override {
        record(micros);
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        return now;
    }
    std::vector<int64_t> millis;  // of the thread that made the clock

  private:
    void record(int64_t micros) {
        if (std::this_thread::get_id() == mThread) {
            millis.push_back(micros / 1000);
        } else {
            std::this_thread::yield();
        }
    }
    const std::thread::id mThread = std::this_thread::get_id();
};

using LifecycleTest = OmxTest;

TEST_F(LifecycleTest, WalksTheStatesAndFreesEverythingInOrder) {
    auto component = std::make_unique<BareComponent>();
    start(*component);
    EXPECT_EQ(OMX_StateExecuting, component->omxState());
    const auto in = mOmx->buffers(0);
    const auto out = mOmx->buffers(1);
    EXPECT_EQ(0, component->sendEndOfInputFlag(0));
    ASSERT_TRUE(eventually([&] { return component->frameIsLast(); }));
    mOmx->waitDelivered();
    EXPECT_EQ(0, component->deInit(false));
    component.reset();
    const auto id = [](android::IOMX::buffer_id buffer) { return std::to_string(buffer); };
    const std::vector<std::string> expected = {"listNodes",
                                               std::string("allocateNode ") + kCodec,
                                               "sendCommand 0 2",
                                               "getParameter 2000001 0",
                                               "useBuffer 0",
                                               "useBuffer 0",
                                               "getParameter 2000001 1",
                                               "useBuffer 1",
                                               "useBuffer 1",
                                               "sendCommand 0 3",
                                               "fillBuffer " + id(out[0]),
                                               "fillBuffer " + id(out[1]),
                                               "emptyBuffer " + id(in[0]) + " 0 1 0",
                                               "sendCommand 0 2",
                                               "sendCommand 0 1",
                                               "freeBuffer 1 " + id(out[1]),
                                               "freeBuffer 1 " + id(out[0]),
                                               "freeBuffer 0 " + id(in[1]),
                                               "freeBuffer 0 " + id(in[0]),
                                               "freeNode 1"};
    EXPECT_EQ(expected, mOmx->calls());
}

TEST_F(LifecycleTest, HangingComponentIsLeftAfterTheLimits) {
    BareComponent component;
    ASSERT_EQ(0, component.setupIOMXConnections());
    mOmx->setStateAnswer(Answer::kNever);
    ThreadClock clock;
    EXPECT_EQ(0, component.init());
    EXPECT_EQ((std::vector<int64_t>{3000, 3000}), clock.millis);
    clock.millis.clear();
    EXPECT_EQ(0, component.deInit(false));
    EXPECT_EQ((std::vector<int64_t>{3000, 100, 3000, 2000, 3000}), clock.millis);
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
    const FakeMediaService gone;
    EXPECT_EQ(1, alone.acquireOmxFromMediaPlayer());
    EXPECT_EQ(3, alone.setupIOMXConnections());
    const FakeMediaService withoutHost(nullptr);
    EXPECT_EQ(3, alone.acquireOmxFromMediaPlayer());
}

TEST_F(LifecycleTest, RefusalsGiveTheirCode) {
    struct Refusal {
        const char* call;
        int n;
        int init;
        int deInit;
    };
    for (const Refusal& c : {Refusal{"sendCommand", 1, 20, 0}, Refusal{"sendCommand", 2, 21, 0},
                             Refusal{"sendCommand", 3, 0, 20}, Refusal{"sendCommand", 4, 0, 20},
                             Refusal{"getParameter", 2, 13, 0}, Refusal{"useBuffer", 3, 15, 0},
                             Refusal{"fillBuffer", 2, 8, 0}, Refusal{"freeBuffer", 1, 0, 0}}) {
        BareComponent component;
        ASSERT_EQ(0, component.setupIOMXConnections());
        mOmx->refuse(c.call, c.n);
        EXPECT_EQ(c.init, component.init()) << c.call << " " << c.n;
        EXPECT_EQ(c.deInit, component.deInit(false)) << c.call << " " << c.n;
    }
    EXPECT_EQ(0, mOmx->liveNodes());
}

TEST_F(LifecycleTest, AbsurdPortsAreRefused) {
    struct Case {
        OMX_U32 count;
        OMX_U32 size;
        int result;
    };
    for (const Case& c : {Case{10001, 32, 13}, Case{3, 0, 15}, Case{10000, UINT32_MAX, 15}}) {
        BareComponent component;
        ASSERT_EQ(0, component.setupIOMXConnections());
        mOmx->setBuffers(1, c.count, c.size);
        EXPECT_EQ(c.result, component.allocateBuffersOnPort(1)) << c.count << " x " << c.size;
    }
}

/// No way of ending a component may depend on a time-out when the component answers.
TEST_F(LifecycleTest, TeardownNeedsNoTimeOut) {
    const EndlessClock clock;
    for (const char* how : {"stopped", "abandoned", "deleted"}) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        mOmx->forgetCalls();
        mOmx->queueOutput({1});
        ASSERT_TRUE(eventually([&] { return mOmx->callCount("fillBuffer") == 1; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // the output thread now waits
        auto end = std::async(std::launch::async, [&] {
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
        ASSERT_EQ(std::future_status::ready, end.wait_for(kSoon)) << how;
        EXPECT_EQ(0, mOmx->liveNodes()) << how;
    }
}

}  // namespace
}  // namespace zem::test
