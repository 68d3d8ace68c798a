// Proves what each state of a node allows and refuses, and how the port hand-shakes end. Would catch a
// transition that is acknowledged before its buffers are there (or are back), a command that is lost,
// and a size change that is announced twice or before the definition shows it.
#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

constexpr OMX_STATETYPE kStates[] = {OMX_StateLoaded, OMX_StateIdle, OMX_StateExecuting, OMX_StatePause};

class OmxStates : public HostTest {};

TEST_F(OmxStates, EveryPairOfStates) {
    const std::string same = "error 80001012";
    const std::string wrong = "error 80001017";
    // Rows: from; columns: to; both in the order of kStates. "..." waits for buffers to come or go.
    const std::string expected[4][4] = {
        {same, "...", wrong, wrong},
        {"...", same, "state 3", "state 4"},
        {wrong, "state 2", same, "state 4"},
        {wrong, "state 2", "state 3", same},
    };
    for (size_t from = 0; from < 4; ++from) {
        for (size_t to = 0; to < 4; ++to) {
            SCOPED_TRACE(testing::Message() << "from " << kStates[from] << " to " << kStates[to]);
            startAfresh();
            bringTo(kStates[from]);
            ASSERT_EQ(OK, setState(kStates[to]));
            if (expected[from][to] != "...") {
                EXPECT_EQ(Lines{expected[from][to]}, observer->take(1));
                const bool moved = expected[from][to][0] == 's';
                EXPECT_EQ(moved ? kStates[to] : kStates[from], state());
            } else {
                EXPECT_EQ(kStates[from], state());
            }
            ASSERT_EQ(OK, omx->freeNode(node));
        }
    }
    node = 0;
}

TEST_F(OmxStates, EveryCallInEveryState) {
    struct Row {
        OMX_STATETYPE state;
        bool moves;  // emptyBuffer and fillBuffer
        bool sets;   // setParameter
    };
    const Row rows[] = {{OMX_StateLoaded, false, true},
                        {OMX_StateIdle, false, false},
                        {OMX_StateExecuting, true, false},
                        {OMX_StatePause, true, false}};
    script->know(OMX_IndexConfigVideoBitrate, OMX_VIDEO_CONFIG_BITRATETYPE{});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.state);
        startAfresh();
        bringTo(row.state);
        if (!buffers[kInputPort].empty()) {
            EXPECT_EQ(row.moves, empty(0, "x", 0, 0) == OK);
            EXPECT_EQ(row.moves, fill(0) == OK);
        }
        EXPECT_EQ(row.sets, setDefinition(definition(kInputPort)) == OK);
        EXPECT_NE(OK, addBuffer(kInputPort));  // no buffers are wanted in any settled state
        OMX_VIDEO_CONFIG_BITRATETYPE config{};
        EXPECT_EQ(OK, omx->getConfig(node, OMX_IndexConfigVideoBitrate, &config, sizeof config));
        EXPECT_EQ(OK, omx->setConfig(node, OMX_IndexConfigVideoBitrate, &config, sizeof config));
        ASSERT_EQ(OK, omx->freeNode(node));
    }
    node = 0;
}

TEST_F(OmxStates, WrongCommandsAreRefusedAtOnce) {
    allocate();
    EXPECT_NE(OK, setState(OMX_StateInvalid));
    EXPECT_NE(OK, command(OMX_CommandStateSet, 99));
    EXPECT_NE(OK, command(OMX_CommandPortDisable, kPortCount));
    EXPECT_NE(OK, command(OMX_CommandMarkBuffer, 0));
    EXPECT_NE(OK, omx->sendCommand(node + 1, OMX_CommandStateSet, OMX_StateIdle));
    EXPECT_EQ(0U, observer->count());
}

TEST_F(OmxStates, IdleComesWithTheLastBufferAndLoadedWhenTheLastIsFreed) {
    allocate();
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    populate(kOutputPort);
    for (OMX_U32 left = script->bufferCount[kInputPort]; left > 0; --left) {
        EXPECT_EQ(OMX_StateLoaded, state());
        EXPECT_NE(OK, setDefinition(definition(kInputPort)));  // too late
        ASSERT_EQ(OK, addBuffer(kInputPort));
    }
    EXPECT_EQ(OMX_StateIdle, state());
    EXPECT_NE(OK, addBuffer(kInputPort));
    ASSERT_EQ(OK, setState(OMX_StateLoaded));
    freeBuffers(kOutputPort);
    EXPECT_EQ(OMX_StateIdle, state());
    freeBuffers(kInputPort);
    EXPECT_EQ(OMX_StateLoaded, state());
    EXPECT_EQ((Lines{"state 2", "state 1"}), observer->take(2));
}

TEST_F(OmxStates, ClientTurnsBackHalfPopulated) {
    allocate();
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, addBuffer(kInputPort));
    ASSERT_EQ(OK, setState(OMX_StateLoaded));
    EXPECT_NE(OK, addBuffer(kInputPort));
    freeBuffers(kInputPort);
    EXPECT_EQ(Lines{"state 1"}, observer->take(1));
    EXPECT_EQ(OK, setDefinition(definition(kInputPort)));
}

TEST_F(OmxStates, UnpopulatedComponentDoesNotStart) {
    bringTo(OMX_StateIdle);
    freeBuffers(kInputPort);
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ(Lines{"error 8000101c"}, observer->take(1));
    EXPECT_EQ(0, script->starts);
}

TEST_F(OmxStates, FailedStartLeavesItIdleAndUsable) {
    script->failStart = true;
    bringTo(OMX_StateIdle);
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ(Lines{"error 80001000"}, observer->take(1));
    EXPECT_EQ(OMX_StateIdle, state());
    EXPECT_NE(OK, fill(0));
    script->failStart = false;
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ(Lines{"state 3"}, observer->take(1));
}

TEST_F(OmxStates, PauseHoldsWhatIsSubmitted) {
    bringTo(OMX_StatePause);
    ASSERT_EQ(OK, empty(0, "held", 0, 5));
    ASSERT_EQ(OK, fill(0));
    ASSERT_EQ(OK, command(OMX_CommandFlush, kOutputPort));
    EXPECT_EQ((Lines{drained(buffers[1][0]), "flushed 1"}), observer->take(2));
    ASSERT_EQ(OK, fill(1));
    EXPECT_EQ(0, script->inputs);
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    EXPECT_EQ((Lines{"state 3", filled(buffers[1][1], 4, "0", 5), emptied(buffers[0][0])}),
              observer->take(3));
}

TEST_F(OmxStates, CommandsQueueBehindASlowOne) {
    bringTo(OMX_StateExecuting);
    script->closeGate();
    for (const size_t which : {2, 0, 1}) {
        ASSERT_EQ(OK, empty(which, "slow", 0, 0));
    }
    ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    ASSERT_EQ(OK, setState(OMX_StatePause));
    EXPECT_NE(OK, fill(0));            // from the moment that Idle was asked for
    EXPECT_EQ(2U, observer->count());  // those of the way to Executing
    script->openGate();
    EXPECT_EQ((Lines{emptied(buffers[0][2]), emptied(buffers[0][0]), emptied(buffers[0][1]), "state 2",
                     "state 3", "state 4"}),
              observer->take(6));
}

TEST_F(OmxStates, CodingCutShortByACommandGoesOn) {
    script->keepOutputs = true;  // nothing but the command's end wakes the component again
    bringTo(OMX_StateExecuting);
    script->closeGate();
    ASSERT_EQ(OK, empty(0, "first", 0, 0));
    ASSERT_EQ(OK, empty(1, "second", 0, 0));
    ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
    ASSERT_EQ(OK, command(OMX_CommandFlush, kOutputPort));
    script->openGate();
    EXPECT_EQ((Lines{emptied(buffers[0][0]), "flushed 1", emptied(buffers[0][1])}), observer->take(3));
}

TEST_F(OmxStates, FlushReturnsOnePortsBuffersOldestFirst) {
    bringTo(OMX_StateExecuting);
    ASSERT_EQ(OK, empty(2, "a", 0, 0));
    ASSERT_EQ(OK, empty(0, "b", 0, 0));
    ASSERT_EQ(OK, command(OMX_CommandFlush, OMX_ALL));
    EXPECT_EQ((Lines{emptied(buffers[0][2]), emptied(buffers[0][0]), "flushed 0", "flushed 1"}),
              observer->take(4));
    ASSERT_EQ(OK, empty(1, "c", 0, 7));  // and goes on after it
    ASSERT_EQ(OK, fill(3));
    EXPECT_EQ((Lines{filled(buffers[1][3], 1, "0", 7), emptied(buffers[0][1])}), observer->take(2));
}

TEST_F(OmxStates, DisabledPortGivesItsBuffersBackAndTakesNewOnes) {
    bringTo(OMX_StateExecuting);
    ASSERT_EQ(OK, fill(1));
    ASSERT_EQ(OK, fill(0));
    ASSERT_EQ(OK, command(OMX_CommandPortDisable, kOutputPort));
    EXPECT_NE(OK, fill(2));
    EXPECT_EQ((Lines{drained(buffers[1][1]), drained(buffers[1][0])}), observer->take(2));
    EXPECT_EQ(OMX_FALSE, definition(kOutputPort).bEnabled);
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));  // not before it is disabled
    EXPECT_EQ(Lines{"error 80001018"}, observer->take(1));
    freeBuffers(kOutputPort);
    EXPECT_EQ(Lines{"disabled 1"}, observer->take(1));

    OMX_PARAM_PORTDEFINITIONTYPE params = definition(kOutputPort);
    params.nBufferCountActual = 2;
    EXPECT_EQ(OK, setDefinition(params));  // a disabled port may be set up anew
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));
    ASSERT_EQ(OK, addBuffer(kOutputPort));
    EXPECT_NE(OK, fill(0));
    ASSERT_EQ(OK, addBuffer(kOutputPort));
    EXPECT_EQ(Lines{"enabled 1"}, observer->take(1));
    ASSERT_EQ(OK, empty(0, "on", 0, 3));
    ASSERT_EQ(OK, fill(0));
    EXPECT_EQ((Lines{filled(buffers[1][0], 2, "0", 3), emptied(buffers[0][0])}), observer->take(2));
}

TEST_F(OmxStates, PortsOfALoadedComponentSwitchAtOnce) {
    allocate();
    ASSERT_EQ(OK, command(OMX_CommandPortDisable, OMX_ALL));
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kInputPort));
    EXPECT_EQ((Lines{"disabled 0", "disabled 1", "enabled 0"}), observer->take(3));
    ASSERT_EQ(OK, setState(OMX_StateIdle));  // the enabled port alone counts
    populate(kInputPort);
    EXPECT_EQ(Lines{"state 2"}, observer->take(1));
    EXPECT_NE(OK, addBuffer(kOutputPort));
}

TEST_F(OmxStates, LoadedIsReachedWithAPortHalfEnabledOrDisabled) {
    for (const bool half : {false, true}) {
        SCOPED_TRACE(half);
        startAfresh();
        bringTo(OMX_StateExecuting);
        ASSERT_EQ(OK, command(OMX_CommandPortDisable, kOutputPort));
        freeBuffers(kOutputPort);
        EXPECT_EQ(Lines{"disabled 1"}, observer->take(1));
        if (half) {
            ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));
            ASSERT_EQ(OK, addBuffer(kOutputPort));
        }
        ASSERT_EQ(OK, setState(OMX_StateIdle));
        EXPECT_EQ(Lines{"state 2"}, observer->take(1));
        ASSERT_EQ(OK, setState(OMX_StateLoaded));
        freeBuffers(kOutputPort);
        freeBuffers(kInputPort);
        EXPECT_EQ(Lines{"state 1"}, observer->take(1));
        ASSERT_EQ(OK, omx->freeNode(node));
    }
    node = 0;
}

TEST_F(OmxStates, SizeChangeIsAnnouncedOnceWithItsDefinition) {
    script->resizeAtInput = 2;
    script->resizeAnnouncements = 3;
    OMX_U32 announced[2] = {0, 0};
    observer->hook = [&](const omx_message& msg) {
        if (msg.type == omx_message::EVENT && msg.u.event_data.event == OMX_EventPortSettingsChanged) {
            const OMX_PARAM_PORTDEFINITIONTYPE now = definition(kOutputPort);
            announced[0] = now.format.video.nFrameWidth;
            announced[1] = now.nBufferSize;
        }
    };
    bringTo(OMX_StateExecuting);
    fillAll();
    ASSERT_EQ(OK, empty(0, "old", 0, 1));
    ASSERT_EQ(OK, empty(1, "new", 0, 2));
    EXPECT_EQ((Lines{filled(buffers[1][0], 3, "0", 1), emptied(buffers[0][0]), "changed 1"}),
              observer->take(3));
    EXPECT_EQ(128U, announced[0]);
    EXPECT_EQ(128U * 96 * 3 / 2, announced[1]);
    // Nothing comes out until the port was disabled and enabled.
    ASSERT_EQ(OK, fill(0));
    ASSERT_EQ(OK, command(OMX_CommandPortDisable, kOutputPort));
    EXPECT_EQ((Lines{drained(buffers[1][1]), drained(buffers[1][2]), drained(buffers[1][3]),
                     drained(buffers[1][0])}),
              observer->take(4));
    freeBuffers(kOutputPort);
    ASSERT_EQ(OK, command(OMX_CommandPortEnable, kOutputPort));
    populate(kOutputPort);
    EXPECT_EQ((Lines{"disabled 1", "enabled 1"}), observer->take(2));
    fillAll();
    EXPECT_EQ((Lines{filled(buffers[1][0], 3, "0", 2), emptied(buffers[0][1])}), observer->take(2));
}

TEST_F(OmxStates, ErrorOfTheComponentBecomesAnEvent) {
    script->errorAtInput = 1;
    bringTo(OMX_StateExecuting);
    ASSERT_EQ(OK, empty(0, "bad", 0, 0));
    EXPECT_EQ(Lines{"error 80001009"}, observer->take(1));
}

}  // namespace
}  // namespace zem::test
