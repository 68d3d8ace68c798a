// Proves that each native method reaches its own operation with its arguments in order, and trusts no
// buffer or size from Java. Catches two rows with each other's function, the two opens with each other's
// argument order, a buffer's offset ignored, a load that goes on without an environment.
#include <gmock/gmock.h>

#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/jni/fake_bitmap.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

using NativeMethods = Bridge;

TEST_F(NativeMethods, QueriesReachTheirSources) {
    fakeDecoder().width = 30;
    fakeDecoder().height = 15;
    EXPECT_TRUE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, jint{64}, jint{48}));
    const struct {
        const char* type;
        const char* name;
        jint result;
    } rows[] = {
        {kJniContext, "getScreenWidth", 1111},  {kJniContext, "getScreenHeight", 2222},
        {kJniContext, "getScreenFormat", 5},    {kJniContext, "getHardwareBase", 0x2002},
        {kVideoRx, "getDecodedVideoWidth", 30}, {kVideoRx, "getDecodedVideoHeight", 15},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(call(row.type, row.name, mPool), row.result) << row.name;
    }
    call<jboolean>(kAudioTx, "setAudioVolumeState", mPool, jint{3}, jint{8});
    EXPECT_TRUE(logged(4, "KivContext::setAudioVolumeState: 3,3,44339."));
}

TEST_F(NativeMethods, TheTwoOpensTakeTheirArgumentsInDifferentOrders) {
    FakeClock clock(1000);
    EXPECT_TRUE(call<jboolean>(kVideoTx, "openVideoEncoder", mPool, jint{1}, jint{640}, jint{360}, jint{2},
                               jint{5000}, jint{30}, jint{0x3C01}));
    call<void>(kVideoTx, "setMaxCaptureLayer", mPool, jint{-2});
    EXPECT_EQ(fakeScreen().maxLayer, 0xFFFFFFFEu);
    closeEncoder();
    EXPECT_EQ(fakeScreen().living + fakeEncoder().living, 0);
    EXPECT_FALSE(call<jboolean>(kVideoTx, "createVideoEncoderHeader", mPool, jint{1}, jint{2}, jint{320},
                                jint{240}, jint{7000}, jint{15}, jint{0x1E02}));
    EXPECT_THAT(fakeEncoder().opens, ElementsAre("1 640x360 5000 30 3c01 0", "1 320x240 7000 15 1e02 1"));
}

TEST_F(NativeMethods, UnitsReachTheDecoder) {
    FakeByteBuffer buffer(8), header(3);
    buffer.bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    header.bytes = {9, 8, 7};
    EXPECT_EQ(callWith(&header, kVideoRx, "setEncoderHeader", jint{2}), 2);
    EXPECT_TRUE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, jint{64}, jint{48}));
    for (const jint offset : {1, 3, 8}) {  // the header takes the first one's place
        EXPECT_EQ(callWith(&buffer, kVideoRx, "decodeVideo", offset, jint{8 - offset}, jboolean{1}), 0);
    }
    EXPECT_THAT(fakeDecoder().units, ElementsAre(Bytes{9, 8}, Bytes{3, 4, 5, 6, 7}, Bytes{}));
    call<void>(kVideoRx, "closeVideoDecoder", mPool);
    EXPECT_EQ(callWith(&buffer, kVideoRx, "decodeVideo", jint{0}, jint{8}, jboolean{0}), -1);
}

TEST_F(NativeMethods, ABitmapIsFilledAndUnlocked) {
    gBitmap = {};
    EXPECT_EQ(callWith(&mPool, kVideoRx, "getDecodedBitmap"), 0)
        << "there is no decoder, which is only logged";
    EXPECT_EQ(loggedCount("failed..ret=-1"), 2);
    EXPECT_TRUE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, jint{64}, jint{48}));
    EXPECT_EQ(callWith(&mPool, kVideoRx, "getDecodedBitmap"), 0);
    EXPECT_EQ(gBitmap.pixels.back(), 77);
    gBitmap.lockResult = -4;
    EXPECT_EQ(callWith(&mPool, kVideoRx, "getDecodedBitmap"), -1);
    gBitmap.infoResult = -3;
    EXPECT_EQ(callWith(&mPool, kVideoRx, "getDecodedBitmap"), -1);
    EXPECT_EQ(gBitmap.locks, 0);
}

TEST_F(NativeMethods, LoadingNeedsAnEnvironmentAndUnloadingTakesSessionThenDisplay) {
    JNI_OnUnload(mVm.vm(), nullptr);
    EXPECT_EQ(KivContext::existingInstance(), nullptr);
    EXPECT_EQ(fakeScreen().displayReleases, 1);
    FakeVm without;
    EXPECT_EQ(JNI_OnLoad(without.vm(), nullptr), -1);
}

// Each row is a call that must be refused with one line, before anything is touched.
TEST_F(NativeMethods, BadBuffersAreRefused) {
    FakeByteBuffer direct(100), heap(100, false);
    const struct {
        FakeByteBuffer* buffer;
        jint offset, size;
    } cases[] = {
        {nullptr, 0, 0},
        {&heap, 0, 10},
        {&direct, -1, 10},
        {&direct, 0, -1},
        {&direct, 91, 10},
        {&direct, 0, 101},
        {&direct, INT32_MAX, INT32_MAX},
        {&direct, INT32_MIN, INT32_MIN},
    };
    ASSERT_TRUE(openEncoder());
    call<jint>(kVideoTx, "captureScreen", mPool, jboolean{JNI_FALSE});
    fakeEncoder().calls.clear();
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << row.offset << ", " << row.size);
        forgetLog();
        const std::pair<const char*, const char*> pulls[] = {{kVideoTx, "getCapturedScreenData"},
                                                             {kVideoTx, "getVideoEncoderData"},
                                                             {kAudioTx, "getAudioEncoderData"},
                                                             {kAudioRx, "getAudioDecoderData"}};
        for (const auto& [type, name] : pulls) {
            EXPECT_EQ(callWith(row.buffer, type, name, row.offset, row.size), -1);
        }
        const std::pair<const char*, const char*> pushes[] = {
            {kVideoRx, "decodeVideo"}, {kAudioTx, "encodeAudio"}, {kAudioRx, "decodeAudio"}};
        for (const auto& [type, name] : pushes) {
            EXPECT_EQ(callWith(row.buffer, type, name, row.offset, row.size, jboolean{JNI_TRUE}), -1);
        }
        EXPECT_EQ(loggedCount(": refused, buffer="), 7);
        EXPECT_EQ(loggedCount(""), 7) << "one line each";
        if (row.offset == 0) {
            EXPECT_EQ(callWith(row.buffer, kVideoTx, "setCameraData", row.size), -1);
            EXPECT_EQ(callWith(row.buffer, kVideoRx, "setEncoderHeader", row.size), -1);
        }
    }
    EXPECT_TRUE(fakeEncoder().calls.empty());
    EXPECT_EQ(callWith(&direct, kVideoTx, "getVideoEncoderData", jint{90}, jint{10}), 0) << "the whole range";
}

TEST_F(NativeMethods, ImpossiblePictureSizesAreRefused) {
    const std::pair<jint, jint> sizes[] = {{0, 48},        {64, 0},        {-64, -48},
                                           {32768, 16384}, {65536, 65536}, {INT32_MAX, INT32_MAX}};
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        forgetLog();
        EXPECT_FALSE(openEncoder(width, height));
        EXPECT_FALSE(call<jboolean>(kVideoTx, "createVideoEncoderHeader", mPool, jint{1}, jint{2}, width,
                                    height, jint{1}, jint{2}, jint{3}));
        EXPECT_FALSE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, width, height));
        EXPECT_EQ(loggedCount(": refused, width="), 3);
    }
    EXPECT_TRUE(fakeEncoder().opens.empty() && fakeDecoder().opens.empty());
    EXPECT_TRUE(openEncoder(32768, 1)) << "large, but countable";
}

}  // namespace
}  // namespace zem::test
