// Proves what each state of a node allows and refuses, and how the port hand-shakes end. Would catch a
// transition that is acknowledged before its buffers are there (or are back), and a command that is lost.
#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

constexpr OMX_STATETYPE kStates[] = {OMX_StateLoaded, OMX_StateIdle, OMX_StateExecuting, OMX_StatePause};

class OmxStates : public HostTest {};

TEST_F(OmxStates, EveryPairOfStates) {
    const std::string same = "event 1: 80001012";
    const std::string wrong = "event 1: 80001017";
    // Rows: from; columns: to; both in the order of kStates. "" waits for buffers to come or go.
    const std::string expected[4][4] = {
        {same, "", wrong, wrong},
        {"", same, "state 3", "state 4"},
        {wrong, "state 2", same, "state 4"},
        {wrong, "state 2", "state 3", same},
    };
    for (size_t from = 0; from < 4; ++from) {
        for (size_t to = 0; to < 4; ++to) {
            SCOPED_TRACE(testing::Message() << "from " << kStates[from] << " to " << kStates[to]);
            bringTo(kStates[from]);
            ASSERT_EQ(OK, setState(kStates[to]));
            const std::string& answer = expected[from][to];
            if (!answer.empty()) {
                EXPECT_EQ(Lines{answer}, observer->take(1));
            }
            EXPECT_EQ(answer.substr(0, 5) == "state" ? kStates[to] : kStates[from], state());
        }
    }
}

TEST_F(OmxStates, CallsOutOfSeasonAreRefused) {
    for (const OMX_STATETYPE now : kStates) {
        SCOPED_TRACE(now);
        bringTo(now);
        const bool runs = now == OMX_StateExecuting || now == OMX_StatePause;
        if (now != OMX_StateLoaded) {
            EXPECT_EQ(runs, empty(0, "x") == OK);
            EXPECT_EQ(runs, fill(0) == OK);
        }
        EXPECT_EQ(now == OMX_StateLoaded, setPort(port(kInputPort)) == OK);
        EXPECT_NE(OK, addBuffer(kInputPort));  // no buffers are wanted in any settled state
    }
    EXPECT_NE(OK, setState(OMX_StateInvalid));
    EXPECT_NE(OK, command(OMX_CommandPortDisable, kPortCount));
    EXPECT_NE(OK, command(OMX_CommandMarkBuffer, 0));
    EXPECT_NE(OK, omx->sendCommand(node + 1, OMX_CommandStateSet, OMX_StateIdle));
}

TEST_F(OmxStates, BuffersDecideBetweenLoadedAndIdle) {
    allocate();
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, addBuffer(kInputPort));
    ASSERT_EQ(OK, setState(OMX_StateLoaded));  // a client that could not go on turns back
    freeBuffers(kInputPort);
    EXPECT_EQ(Lines{"state 1"}, observer->take(1));

    ASSERT_EQ(OK, setState(OMX_StateIdle));
    populate(kOutputPort);
    for (OMX_U32 left = kScriptedBuffers[kInputPort]; left > 0; --left) {
        EXPECT_EQ(OMX_StateLoaded, state());
        EXPECT_NE(OK, setPort(port(kInputPort)));  // too late
        ASSERT_EQ(OK, addBuffer(kInputPort));
    }
    EXPECT_EQ(OMX_StateIdle, state());
    ASSERT_EQ(OK, setState(OMX_StateLoaded));
    freeBuffers(kOutputPort);
    EXPECT_EQ(OMX_StateIdle, state());
    freeBuffers(kInputPort);
    EXPECT_EQ((Lines{"state 2", "state 1"}), observer->take(2));
}

TEST_F(OmxStates, FailedStartLeavesItIdleAndUsable) {
    script->failStart = true;
    bringTo(OMX_StateIdle);
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ(Lines{"event 1: 80001000"}, observer->take(1));
    EXPECT_EQ(OMX_StateIdle, state());
    script->failStart = false;
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ(Lines{"state 3"}, observer->take(1));
}

TEST_F(OmxStates, FlushReturnsOnePortsBuffersAndCodingGoesOn) {
    script->keepOutputs = true;  // nothing but the command's end wakes the component again
    bringTo(OMX_StateExecuting);
    script->closeGate();
    ASSERT_EQ(OK, empty(0, "first"));
    ASSERT_EQ(OK, empty(1, "second"));
    ASSERT_EQ(OK, fill(3));
    ASSERT_EQ(OK, fill(1));
    ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
    ASSERT_EQ(OK, command(OMX_CommandFlush, kOutputPort));
    script->openGate();
    EXPECT_EQ((Lines{emptied(buffers[0][0]), drained(buffers[1][3]), drained(buffers[1][1]), "flushed 1",
                     emptied(buffers[0][1])}),
              observer->take(5));
}

TEST_F(OmxStates, DisabledPortGivesItsBuffersBackAndTakesNewOnes) {
    bringTo(OMX_StateExecuting);
    ASSERT_EQ(OK, fill(1));
    ASSERT_EQ(OK, fill(0));
    ASSERT_EQ(OK, command(OMX_CommandPortDisable, kOutputPort));
    EXPECT_NE(OK, fill(2));
    EXPECT_EQ((Lines{drained(buffers[1][1]), drained(buffers[1][0])}), observer->take(2));
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));  // not before it is disabled
    EXPECT_EQ(Lines{"event 1: 80001018"}, observer->take(1));
    freeBuffers(kOutputPort);
    EXPECT_EQ(Lines{"disabled 1"}, observer->take(1));

    OMX_PARAM_PORTDEFINITIONTYPE params = port(kOutputPort);
    params.nBufferCountActual = 2;
    EXPECT_EQ(OK, setPort(params));  // a disabled port may be set up anew
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));
    ASSERT_EQ(OK, addBuffer(kOutputPort));
    EXPECT_NE(OK, fill(0));
    ASSERT_EQ(OK, addBuffer(kOutputPort));
    EXPECT_EQ(Lines{"enabled 1"}, observer->take(1));
    ASSERT_EQ(OK, empty(0, "on", 0, 3));
    ASSERT_EQ(OK, fill(0));
    EXPECT_EQ((Lines{filled(buffers[1][0], 2, 0, 3), emptied(buffers[0][0])}), observer->take(2));
}

}  // namespace
}  // namespace zem::test
