// Proves that parameters are checked by what the caller passes, and that port definitions keep to what
// the component needs. Would catch a structure of the wrong size reaching a component, a refusal of
// the unfilled headers that the driver sends, and a buffer too small for the frame that was set.
#include "tests/platform/host_rig.h"

namespace zem::test {
namespace {

class OmxParameters : public HostTest {};

TEST_F(OmxParameters, NodesAreListedInOrderWithTheirRoles) {
    ComponentRegistry registry;
    EXPECT_TRUE(registry.add(scripted("OMX.b", script, {"r1", "r2"})));
    EXPECT_TRUE(registry.add(scripted("OMX.a", script, {})));
    EXPECT_FALSE(registry.add(scripted("OMX.b", script, {})));
    const sp<IOMX> host = makeOmxHost(registry);
    android::List<IOMX::ComponentInfo> list;
    ASSERT_EQ(OK, host->listNodes(&list));
    ASSERT_EQ(OK, host->listNodes(&list));  // replaces
    std::string text;
    for (const IOMX::ComponentInfo& info : list) {
        text += std::string(info.mName.string()) + ":" + std::to_string(info.mRoles.size()) + " ";
    }
    EXPECT_EQ("OMX.b:2 OMX.a:0 ", text);
}

TEST_F(OmxParameters, NodesAreAllocatedByKnownNameOnly) {
    EXPECT_NE(OK, omx->allocateNode("OMX.test", observer, &node));
    EXPECT_NE(OK, omx->allocateNode(nullptr, observer, &node));
    EXPECT_NE(OK, omx->allocateNode(kName, NULL, &node));
    EXPECT_NE(OK, omx->allocateNode(kName, observer, nullptr));
    script->failCreate = true;
    EXPECT_NE(OK, omx->allocateNode(kName, observer, &node));
    EXPECT_EQ(0U, node);
    EXPECT_EQ(0, script->created);
    EXPECT_NE(OK, omx->freeNode(0));
}

TEST_F(OmxParameters, OnlyTheByteCountThePortAndTheIndexDecide) {
    OMX_VIDEO_PARAM_BITRATETYPE rate{};
    rate.nTargetBitrate = 77;
    script->know(OMX_IndexParamVideoBitrate, rate);
    allocate();
    uint8_t raw[2048] = {};
    struct Row {
        OMX_INDEXTYPE index;
        size_t size;
        OMX_U32 port;
        bool fine;
    };
    const size_t whole = sizeof(OMX_PARAM_PORTDEFINITIONTYPE);
    const Row rows[] = {
        {OMX_IndexParamPortDefinition, whole, 0, true},
        {OMX_IndexParamPortDefinition, whole, 1, true},
        {OMX_IndexParamPortDefinition, whole, 2, false},
        {OMX_IndexParamPortDefinition, whole - 4, 0, false},
        {OMX_IndexParamPortDefinition, whole + 4, 0, false},
        {OMX_IndexParamPortDefinition, 0, 0, false},
        {OMX_IndexParamVideoBitrate, sizeof rate, 1, true},
        {OMX_IndexParamVideoBitrate, 8, 1, false},
        {OMX_IndexParamVideoAvc, sizeof rate, 1, false},
        {OMX_IndexParamVideoBitrate, 2048, 1, false},
    };
    for (const Row& row : rows) {
        for (const int shift : {0, 1}) {  // a caller's structure may lie at any address
            SCOPED_TRACE(testing::Message() << row.index << " size " << row.size << " port " << row.port);
            memset(raw, 0, sizeof raw);  // nSize and nVersion stay unfilled
            memcpy(raw + shift + 8, &row.port, sizeof row.port);
            EXPECT_EQ(row.fine, omx->getParameter(node, row.index, raw + shift, row.size) == OK);
        }
    }
    EXPECT_NE(OK, omx->getParameter(node, OMX_IndexParamPortDefinition, nullptr, whole));
    EXPECT_NE(OK, omx->setParameter(node, OMX_IndexParamPortDefinition, nullptr, whole));
    EXPECT_NE(OK, omx->getConfig(node, OMX_IndexConfigVideoBitrate, raw, 16));
    rate.nTargetBitrate = 88;
    EXPECT_EQ(OK, omx->setParameter(node, OMX_IndexParamVideoBitrate, &rate, sizeof rate));
    OMX_VIDEO_PARAM_BITRATETYPE read{};
    EXPECT_EQ(OK, omx->getParameter(node, OMX_IndexParamVideoBitrate, &read, sizeof read));
    EXPECT_EQ(88U, read.nTargetBitrate);
    OMX_INDEXTYPE index{};
    EXPECT_NE(OK, omx->getExtensionIndex(node, "none", &index));
}

TEST_F(OmxParameters, BufferSizeIsAWishThatTheFrameSizeOverrules) {
    allocate();
    struct Row {
        OMX_U32 width;
        OMX_U32 height;
        OMX_U32 wish;  // 0: written back as read
        OMX_U32 size;
    };
    const Row rows[] = {
        {1280, 720, 1024000, 1382400},  // too small a wish
        {1280, 720, 2000000, 2000000},  // a larger one stands,
        {1280, 720, 0, 2000000},        // ... also when the size is written back,
        {640, 360, 0, 345600},          // ... but not over a change of the frame's size
        {64, 50, 0, 4800},
        {66, 50, 0, 4960},  // in multiples of 32
    };
    for (const Row& row : rows) {
        OMX_PARAM_PORTDEFINITIONTYPE params = definition(kInputPort);
        params.format.video.nFrameWidth = row.width;
        params.format.video.nFrameHeight = row.height;
        params.nBufferSize = row.wish != 0 ? row.wish : params.nBufferSize;
        ASSERT_EQ(OK, setDefinition(params));
        EXPECT_EQ(row.size, definition(kInputPort).nBufferSize) << row.width << "x" << row.height;
    }
}

TEST_F(OmxParameters, DefinitionsKeepTheirReadOnlyFieldsAndTheirBounds) {
    allocate();
    OMX_PARAM_PORTDEFINITIONTYPE params = definition(kOutputPort);
    params.eDir = OMX_DirInput;
    params.bEnabled = OMX_FALSE;
    params.nBufferCountMin = 9;
    params.nBufferCountActual = 15;
    ASSERT_EQ(OK, setDefinition(params));
    const OMX_PARAM_PORTDEFINITIONTYPE now = definition(kOutputPort);
    EXPECT_EQ(OMX_DirOutput, now.eDir);
    EXPECT_EQ(OMX_TRUE, now.bEnabled);
    EXPECT_EQ(OMX_FALSE, now.bPopulated);
    EXPECT_EQ(1U, now.nBufferCountMin);
    EXPECT_EQ(15U, now.nBufferCountActual);
    params.nBufferCountActual = 0;
    EXPECT_NE(OK, setDefinition(params));
    params.nBufferCountActual = 4;
    params.nBufferSize = 0xFFFFFFF0;  // would wrap when rounded
    EXPECT_NE(OK, setDefinition(params));
    script->refuse(OMX_IndexParamPortDefinition);
    params.nBufferSize = 1 << 20;
    EXPECT_NE(OK, setDefinition(params));
    EXPECT_EQ(15U, definition(kOutputPort).nBufferCountActual);  // refused as a whole
}

}  // namespace
}  // namespace zem::test
