// Proves who owns a buffer when, that no range leaves it, and that messages keep their order. Would
// catch a buffer that is submitted twice, lost or returned twice, and a write to one freed under a codec.
#include <set>

#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

class OmxBuffers : public HostTest {};

TEST_F(OmxBuffers, DataFlagsAndTimesComeThrough) {
    script->emitConfig = true;
    bringTo(OMX_StateExecuting);
    fillAll();
    ASSERT_EQ(OK, empty(0, "one", 0, 40));
    ASSERT_EQ(OK, empty(1, "", OMX_BUFFERFLAG_EOS, -7));
    EXPECT_EQ((Lines{filled(buffers[1][0], 4, "80", 40), filled(buffers[1][1], 3, "0", 40),
                     emptied(buffers[0][0]), filled(buffers[1][2], 0, "1", -7), emptied(buffers[0][1])}),
              observer->take(5));
    EXPECT_EQ(0, memcmp(bytes[kOutputPort][1], "one", 3));
    // A part of a buffer.
    memcpy(bytes[kInputPort][2], "abcdef", 6);
    ASSERT_EQ(OK, omx->emptyBuffer(node, buffers[kInputPort][2], 2, 3, 0, 1));
    EXPECT_EQ(filled(buffers[1][3], 3, "0", 1), observer->take(1).at(0));
    EXPECT_EQ(0, memcmp(bytes[kOutputPort][3], "cde", 3));
}

TEST_F(OmxBuffers, SubmissionsAreChecked) {
    bringTo(OMX_StateExecuting);
    script->keepInputs = true;
    const IOMX::buffer_id in = buffers[kInputPort][0];
    const IOMX::buffer_id out = buffers[kOutputPort][0];
    const OMX_U32 size = definition(kInputPort).nBufferSize;
    struct Row {
        IOMX::buffer_id buffer;
        OMX_U32 offset;
        OMX_U32 length;
    };
    const Row refused[] = {{in, 0, size + 1},   {in, size + 1, 0}, {in, 1, size}, {in, 0xFFFFFFFF, 2},
                           {in, 2, 0xFFFFFFFF}, {out, 0, 1},       {0, 0, 1},     {in + 1000, 0, 1}};
    for (const Row& row : refused) {
        EXPECT_NE(OK, omx->emptyBuffer(node, row.buffer, row.offset, row.length, 0, 0))
            << row.buffer << " " << row.offset << " " << row.length;
    }
    EXPECT_NE(OK, omx->fillBuffer(node, in));
    EXPECT_NE(OK, omx->fillBuffer(node, 0));
    EXPECT_EQ(OK, omx->emptyBuffer(node, in, size, 0, 0, 0));
    EXPECT_NE(OK, omx->emptyBuffer(node, in, 0, 1, 0, 0));  // the component has it
    EXPECT_EQ(OK, fill(0));
    EXPECT_NE(OK, fill(0));
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    EXPECT_EQ((Lines{emptied(in), drained(out), "state 2"}), observer->take(3));
    EXPECT_EQ(1, script->stops);
}

TEST_F(OmxBuffers, AllocationsAreChecked) {
    allocate();
    const OMX_U32 size = definition(kInputPort).nBufferSize;
    const sp<android::MemoryDealer> dealer = new android::MemoryDealer(size * 2);
    const sp<android::IMemory> memory = dealer->allocate(size);
    const sp<android::IMemory> small = dealer->allocate(size - 1);
    IOMX::buffer_id id = 0;
    void* data = nullptr;
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, memory, &id));  // Idle was not asked for
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    EXPECT_NE(OK, omx->useBuffer(node, kPortCount, memory, &id));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, NULL, &id));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, memory, nullptr));
    EXPECT_NE(OK, omx->useBuffer(node, kInputPort, small, &id));
    EXPECT_NE(OK, omx->allocateBuffer(node, kInputPort, size - 1, &id, &data));
    EXPECT_NE(OK, omx->allocateBuffer(node, kInputPort, size, &id, nullptr));
    EXPECT_EQ(OK, omx->useBuffer(node, kInputPort, memory, &id));
    EXPECT_NE(OK, omx->freeBuffer(node, kOutputPort, id));
    EXPECT_NE(OK, omx->freeBuffer(node, kPortCount, id));
    EXPECT_EQ(OK, omx->freeBuffer(node, kInputPort, id));
    EXPECT_NE(OK, omx->freeBuffer(node, kInputPort, id));
}

// The engine's two ways of handing over memory of its own; it drops its references early.
TEST_F(OmxBuffers, SharedMemoryIsWorkedInAndKept) {
    script->bufferCount[kInputPort] = script->bufferCount[kOutputPort] = 1;
    allocate();
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    const OMX_U32 size = definition(kInputPort).nBufferSize;
    sp<android::MemoryDealer> dealer = new android::MemoryDealer(size * 2);
    sp<android::IMemory> in = dealer->allocate(size);
    sp<android::IMemory> out = dealer->allocate(size);
    IOMX::buffer_id ids[2];
    ASSERT_EQ(OK, omx->useBuffer(node, kInputPort, in, &ids[0]));
    ASSERT_EQ(OK, omx->allocateBufferWithBackup(node, kOutputPort, out, &ids[1]));
    ASSERT_EQ(OK, setState(OMX_StateExecuting));
    ASSERT_EQ((Lines{"state 2", "state 3"}), observer->take(2));
    memcpy(in->pointer(), "shared", 6);
    in.clear();
    dealer.clear();
    ASSERT_EQ(OK, omx->emptyBuffer(node, ids[0], 0, 6, 0, 0));
    ASSERT_EQ(OK, omx->fillBuffer(node, ids[1]));
    EXPECT_EQ((Lines{filled(ids[1], 6, "0", 0), emptied(ids[0])}), observer->take(2));
    EXPECT_EQ(0, memcmp(out->pointer(), "shared", 6));
}

TEST_F(OmxBuffers, FreedWhileTheComponentHasThem) {
    bringTo(OMX_StateExecuting);
    script->closeGate();
    ASSERT_EQ(OK, empty(0, "first", 0, 1));   // the component holds this one
    ASSERT_EQ(OK, empty(1, "second", 0, 2));  // this one is queued
    ASSERT_EQ(OK, empty(2, "third", 0, 3));
    ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
    ASSERT_EQ(OK, omx->freeBuffer(node, kInputPort, buffers[0][0]));
    ASSERT_EQ(OK, omx->freeBuffer(node, kInputPort, buffers[0][1]));
    fillAll();
    script->openGate();
    // The held one is still coded, from memory that is still there; no message tells of either.
    EXPECT_EQ(
        (Lines{filled(buffers[1][0], 5, "0", 1), filled(buffers[1][1], 5, "0", 3), emptied(buffers[0][2])}),
        observer->take(3));
}

TEST_F(OmxBuffers, FreedOneDoesNotComeBackWithTheOthers) {
    bringTo(OMX_StateExecuting);
    script->closeGate();
    ASSERT_EQ(OK, empty(0, "held", 0, 0));
    ASSERT_EQ(OK, empty(1, "queued", 0, 0));
    ASSERT_TRUE(eventually([this] { return script->inputs == 1; }));
    ASSERT_EQ(OK, setState(OMX_StateIdle));
    ASSERT_EQ(OK, omx->freeBuffer(node, kInputPort, buffers[0][0]));
    script->openGate();
    EXPECT_EQ((Lines{emptied(buffers[0][1]), "state 2"}), observer->take(2));
}

TEST_F(OmxBuffers, IdsAreNeverNullNorUsedTwice) {
    std::set<IOMX::buffer_id> ids;
    std::set<IOMX::node_id> nodes;
    for (int round = 0; round < 3; ++round) {
        startAfresh();
        bringTo(OMX_StateIdle);
        nodes.insert(node);
        ids.insert(buffers[0].begin(), buffers[0].end());
        ids.insert(buffers[1].begin(), buffers[1].end());
    }
    EXPECT_EQ(3U, nodes.size());
    EXPECT_EQ(3U * (script->bufferCount[0] + script->bufferCount[1]), ids.size());
    EXPECT_EQ(0U, ids.count(0) + nodes.count(0));
    omx->freeNode(*nodes.begin());
    EXPECT_NE(OK, omx->freeNode(*nodes.begin()));
}

// Each filled message must come back with its own time, in order, however fast buffers circulate.
TEST_F(OmxBuffers, MessagesKeepTheOrderOfTheStream) {
    constexpr int kUnits = 2000;
    std::vector<OMX_TICKS> seen;
    std::mutex mutex;
    std::vector<size_t> freeInputs = {0, 1, 2};
    std::condition_variable returned;
    observer->hook = [&](const omx_message& msg) {
        if (msg.type == omx_message::FILL_BUFFER_DONE) {
            seen.push_back(msg.u.extended_buffer_data.timestamp);
            EXPECT_EQ(OK, omx->fillBuffer(node, msg.u.extended_buffer_data.buffer));
        } else if (msg.type == omx_message::EMPTY_BUFFER_DONE) {
            std::lock_guard<std::mutex> lock(mutex);
            freeInputs.push_back(msg.u.buffer_data.buffer - buffers[kInputPort][0]);
            returned.notify_one();
        }
    };
    bringTo(OMX_StateExecuting);
    fillAll();
    for (int unit = 0; unit < kUnits; ++unit) {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(returned.wait_for(lock, std::chrono::seconds(10), [&] { return !freeInputs.empty(); }));
        const size_t which = freeInputs.back();
        freeInputs.pop_back();
        lock.unlock();
        ASSERT_EQ(OK, empty(which, "unit", 0, unit));
    }
    ASSERT_EQ(2U * kUnits, observer->take(2U * kUnits).size());
    ASSERT_EQ(static_cast<size_t>(kUnits), seen.size());
    for (int unit = 0; unit < kUnits; ++unit) {
        ASSERT_EQ(unit, seen[static_cast<size_t>(unit)]);
    }
    EXPECT_FALSE(pthread_equal(pthread_self(), observer->thread()));
}

}  // namespace
}  // namespace zem::test
