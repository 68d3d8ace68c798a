// Proves what each state of a node allows and refuses, how the port hand-shakes end, which nodes, definitions
// and buffers are granted, who owns a buffer when, and that no range leaves it. Would catch a transition that
// is acknowledged before its buffers are there (or are back), a command that is lost, a structure of the
// wrong size reaching a component, a buffer too small for the frame that was set, one that is submitted
// twice, lost or returned twice, and a write to one freed under a codec.
#include <tuple>

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

class OmxBuffers : public HostTest {};

TEST_F(OmxBuffers, NodesAreMadeByKnownNameOnly) {
    EXPECT_NE(OK, omx->allocateNode("OMX.test", observer, &node));
    EXPECT_NE(OK, omx->allocateNode(nullptr, observer, &node));
    EXPECT_NE(OK, omx->allocateNode(name, nullptr, &node));
    EXPECT_NE(OK, omx->allocateNode(name, observer, nullptr));
    script->failCreate = true;
    EXPECT_NE(OK, omx->allocateNode(name, observer, &node));
    EXPECT_EQ(0U, node);
    EXPECT_NE(OK, omx->freeNode(0));
}

TEST_F(OmxBuffers, DefinitionsAreCheckedByByteCountAndPort) {
    allocate();
    const size_t whole = sizeof(OMX_PARAM_PORTDEFINITIONTYPE);
    for (const auto& [size, index, fine] : {std::tuple(whole, 1U, true),
                                            {whole, 2U, false},
                                            {whole - 4, 1U, false},
                                            {whole + 4, 1U, false},
                                            {0U, 1U, false},
                                            {2048U, 1U, false}}) {
        uint8_t raw[2049] = {};
        uint8_t* const params = raw + 1;  // a caller's structure may lie at any address
        memcpy(params + 8, &index, sizeof index);
        EXPECT_EQ(fine, omx->getParameter(node, OMX_IndexParamPortDefinition, params, size) == OK) << size;
        EXPECT_EQ(fine, omx->setParameter(node, OMX_IndexParamPortDefinition, params, size) == OK) << size;
    }
    EXPECT_NE(OK, omx->setParameter(node, OMX_IndexParamPortDefinition, nullptr, whole));
}

TEST_F(OmxBuffers, BufferSizeIsAWishThatTheFrameSizeOverrules) {
    allocate();
    const struct {
        OMX_U32 width, height, wish, size;  // wish 0: written back as read
    } rows[] = {
        {1280, 720, 1024000, 1382400},  // too small a wish
        {1280, 720, 2000000, 2000000},  // a larger one stands,
        {1280, 720, 0, 2000000},        // ... also when the size is written back,
        {640, 360, 0, 345600},          // ... but not over a change of the frame's size
        {66, 50, 0, 4960},              // in multiples of 32
    };
    for (const auto& row : rows) {
        OMX_PARAM_PORTDEFINITIONTYPE params = port(kInputPort);
        params.format.video.nFrameWidth = row.width;
        params.format.video.nFrameHeight = row.height;
        params.nBufferSize = row.wish != 0 ? row.wish : params.nBufferSize;
        ASSERT_EQ(OK, setPort(params));
        EXPECT_EQ(row.size, port(kInputPort).nBufferSize) << row.width << "x" << row.height;
    }
    OMX_PARAM_PORTDEFINITIONTYPE params = port(kOutputPort);
    params.nBufferCountActual = 0;
    EXPECT_NE(OK, setPort(params));
    params.nBufferCountActual = 4;
    params.nBufferSize = 0xFFFFFFF0;  // would wrap when rounded
    EXPECT_NE(OK, setPort(params));
}

TEST_F(OmxBuffers, AllocationsAreChecked) {
    allocate();
    const OMX_U32 size = port(kInputPort).nBufferSize;
    const sp<android::MemoryDealer> dealer = new android::MemoryDealer(size_t{size} * 2);
    const sp<android::IMemory> memory = dealer->allocate(size);
    const sp<android::IMemory> small = dealer->allocate(size - 1);
    IOMX::buffer_id id = 0;
    void* data = nullptr;
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, memory, &id));  // Idle was not asked for
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    EXPECT_NE(OK, omx->useBuffer(node, kPortCount, memory, &id));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, nullptr, &id));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, memory, nullptr));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, small, &id));
    EXPECT_NE(OK, omx->allocateBuffer(node, kInputPort, size - 1, &id, &data));
    EXPECT_NE(OK, omx->allocateBuffer(node, kInputPort, size, &id, nullptr));
    EXPECT_EQ(OK, omx->useBuffer(node, kInputPort, memory, &id));
    EXPECT_NE(OK, omx->freeBuffer(node, kOutputPort, id));
    EXPECT_EQ(OK, omx->freeBuffer(node, kInputPort, id));
    EXPECT_NE(OK, omx->freeBuffer(node, kInputPort, id));
}

TEST_F(OmxBuffers, SubmissionsAreChecked) {
    bringTo(OMX_StateExecuting);
    const IOMX::buffer_id in = buffers[kInputPort][0];
    const IOMX::buffer_id out = buffers[kOutputPort][0];
    const OMX_U32 size = port(kInputPort).nBufferSize;
    const struct {
        IOMX::buffer_id buffer;
        OMX_U32 offset, length;
    } refused[] = {{in, 0, size + 1},   {in, size + 1, 0}, {in, 1, size}, {in, 0xFFFFFFFF, 2},
                   {in, 2, 0xFFFFFFFF}, {out, 0, 1},       {0, 0, 1}};
    for (const auto& row : refused) {
        EXPECT_NE(OK, omx->emptyBuffer(node, row.buffer, row.offset, row.length, 0, 0))
            << row.buffer << " " << row.offset << " " << row.length;
    }
    EXPECT_NE(OK, omx->fillBuffer(node, in));
    EXPECT_EQ(OK, omx->emptyBuffer(node, in, size, 0, 0, 0));
    EXPECT_NE(OK, omx->emptyBuffer(node, in, 0, 1, 0, 0));  // it waits for an output
    EXPECT_EQ(OK, fill(0));
    EXPECT_EQ((Lines{drained(out), emptied(in)}), observer->take(2));
    EXPECT_EQ(OK, fill(0));
    EXPECT_NE(OK, fill(0));
}

TEST_F(OmxBuffers, FreedWhileTheComponentHasThem) {
    for (const bool stopping : {false, true}) {
        SCOPED_TRACE(stopping);
        bringTo(OMX_StateExecuting);
        script->inputs = 0;
        script->closeGate();
        ASSERT_EQ(OK, empty(0, "first", 0, 1));   // the component holds this one
        ASSERT_EQ(OK, empty(1, "second", 0, 2));  // this one is queued
        ASSERT_EQ(OK, empty(2, "third", 0, 3));
        ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
        Lines expected = {emptied(buffers[0][2]), "state 2"};
        if (stopping) {
            ASSERT_EQ(OK, setState(OMX_StateIdle));
        } else {  // the held one is still coded, from memory that is still there
            fillAll();
            expected = {filled(buffers[1][0], 5, 0, 1), filled(buffers[1][1], 5, 0, 3),
                        emptied(buffers[0][2])};
        }
        ASSERT_EQ(OK, omx->freeBuffer(node, kInputPort, buffers[0][0]));
        ASSERT_EQ(OK, omx->freeBuffer(node, kInputPort, buffers[0][1]));
        script->openGate();
        EXPECT_EQ(expected, observer->take(expected.size())) << "no message tells of freed ones";
    }
}

}  // namespace
}  // namespace zem::test
