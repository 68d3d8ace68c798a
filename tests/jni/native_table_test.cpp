// Proves the library's outer boundary: exactly 41 methods on five classes, each reaching its own operation
// with its arguments in order. Catches a misspelt or mistyped row, two rows with each other's function,
// the two opens with each other's argument order, a load that goes on without an environment, and a buffer
// or size from Java that is trusted.
#include <gmock/gmock.h>

#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/jni/fake_bitmap.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

using ::testing::ElementsAreArray;

using NativeTables = Bridge;

TEST_F(NativeTables, AreWhatJavaDeclares) {
    const std::vector<std::pair<const char*, std::vector<const char*>>> expected = {
        {kJniContext,
         {"getScreenWidth()I", "getScreenHeight()I", "getScreenFormat()I", "isAudioHookAvailable()Z",
          "getHardwareBase()I", "test_kivjni()I"}},
        {kVideoTx,
         {"setMaxCaptureLayer(I)V", "closeVideoEncoder()V", "openVideoEncoder(IIIIIII)Z", "captureScreen(Z)I",
          "setCameraData(Ljava/nio/ByteBuffer;I)I", "getCapturedScreenData(Ljava/nio/ByteBuffer;II)I",
          "getVideoEncoderData(Ljava/nio/ByteBuffer;II)I", "setVideoEncoderEnv()V",
          "createVideoEncoderHeader(IIIIIII)Z", "deleteVideoEncoderHeader(Ljava/nio/ByteBuffer;)I"}},
        {kVideoRx,
         {"closeVideoDecoder()V", "openVideoDecoder(III)Z", "decodeVideo(Ljava/nio/ByteBuffer;IIZ)I",
          "getDecodedBitmap(Landroid/graphics/Bitmap;)I", "getDecodedVideoWidth()I",
          "getDecodedVideoHeight()I", "setVideoDecoderEnv()V", "setEncoderHeader(Ljava/nio/ByteBuffer;I)I"}},
        {kAudioTx,
         {"closeAudioEncoder()V", "openAudioEncoder(IIII)Z", "openAudioHookClient()Z",
          "startAudioHookClient()Z", "stopAudioHookClient()V", "getAudioHookClientSampleRate()I",
          "getAudioHookClientOutputFormat()I", "encodeAudio(Ljava/nio/ByteBuffer;IIZ)I",
          "getAudioEncoderData(Ljava/nio/ByteBuffer;II)I", "setAudioVolumeState(II)Z", "isAdudioPlaying()Z"}},
        {kAudioRx,
         {"closeAudioDecoder()V", "openAudioDecoder(IIII)Z", "decodeAudio(Ljava/nio/ByteBuffer;IIZ)I",
          "getAudioSamplingRate()I", "getAudioChannelCount()I",
          "getAudioDecoderData(Ljava/nio/ByteBuffer;II)I"}},
    };
    const auto tables = mVm.natives();
    ASSERT_EQ(tables.size(), expected.size());
    for (size_t i = 0; i < tables.size(); ++i) {
        EXPECT_EQ(tables[i].className, expected[i].first);
        std::vector<std::string> rows;
        for (const auto& method : tables[i].methods) {
            rows.push_back(method.name + method.signature);
        }
        EXPECT_THAT(rows, ElementsAreArray(expected[i].second));
    }
    EXPECT_EQ(loggedCount("KivContext created 0x"), 1);
}

TEST_F(NativeTables, DeviceQueriesReachTheirSources) {
    EXPECT_EQ(call(kJniContext, "getScreenWidth", mPool), 1111);
    EXPECT_EQ(call(kJniContext, "getScreenHeight", mPool), 2222);
    EXPECT_EQ(call(kJniContext, "getScreenFormat", mPool), 5);
    EXPECT_EQ(call(kJniContext, "getHardwareBase", mPool), 0x2002);
    EXPECT_EQ(call(kJniContext, "test_kivjni", mPool), 1);
    call<jboolean>(kAudioTx, "setAudioVolumeState", mPool, jint{3}, jint{8});
    EXPECT_TRUE(logged(4, "KivContext::setAudioVolumeState: 3,3,44339."));
}

TEST_F(NativeTables, TheTwoOpensTakeTheirArgumentsInDifferentOrders) {
    FakeClock clock(1000);
    EXPECT_TRUE(call<jboolean>(kVideoTx, "openVideoEncoder", mPool, jint{1}, jint{640}, jint{360}, jint{2},
                               jint{5000}, jint{30}, jint{0x3C01}));
    call<void>(kVideoTx, "setMaxCaptureLayer", mPool, jint{-2});
    EXPECT_EQ(fakeScreen().maxLayer, 0xFFFFFFFEu);
    closeEncoder();
    EXPECT_EQ(fakeScreen().living + fakeEncoder().living, 0);
    EXPECT_FALSE(call<jboolean>(kVideoTx, "createVideoEncoderHeader", mPool, jint{1}, jint{2}, jint{320},
                                jint{240}, jint{7000}, jint{15}, jint{0x1E02}));
    EXPECT_THAT(fakeEncoder().opens,
                ElementsAreArray({"1 640x360 5000 30 3c01 0", "1 320x240 7000 15 1e02 1"}));
}

TEST_F(NativeTables, ABitmapIsFilledAndUnlocked) {
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

TEST_F(NativeTables, UnloadingTakesTheSessionThenTheDisplay) {
    JNI_OnUnload(mVm.vm(), nullptr);
    EXPECT_EQ(KivContext::existingInstance(), nullptr);
    EXPECT_EQ(fakeScreen().displayReleases, 1);
}

TEST(Load, FailsWithoutAnEnvironment) {
    FakeVm vm;
    vm.failGetEnv = true;
    EXPECT_EQ(JNI_OnLoad(vm.vm(), nullptr), -1);
    EXPECT_TRUE(vm.natives().empty());
}

// Each row is a call that must be refused with one line, before anything is touched.
TEST_F(NativeTables, BadBuffersAreRefused) {
    FakeByteBuffer direct(100), heap(100, false);
    struct Case {
        const char* what;
        FakeByteBuffer* buffer;
        jint offset, size;
    };
    const Case cases[] = {
        {"null", nullptr, 0, 10},
        {"heap", &heap, 0, 10},
        {"null, empty", nullptr, 0, 0},
        {"negative offset", &direct, -1, 10},
        {"negative size", &direct, 0, -1},
        {"past the end", &direct, 91, 10},
        {"size past the end", &direct, 0, 101},
        {"the sum overflows", &direct, 2147483647, 2147483647},
        {"lowest numbers", &direct, static_cast<jint>(0x80000000), static_cast<jint>(0x80000000)},
    };
    ASSERT_TRUE(openEncoder());
    call<jint>(kVideoTx, "captureScreen", mPool, jboolean{JNI_FALSE});
    fakeEncoder().calls.clear();
    for (const Case& row : cases) {
        SCOPED_TRACE(row.what);
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
    EXPECT_EQ(callWith(&heap, kVideoTx, "deleteVideoEncoderHeader"), -1);
    EXPECT_EQ(callWith(&direct, kVideoTx, "getVideoEncoderData", jint{90}, jint{10}), 0) << "the whole range";
}

TEST_F(NativeTables, ImpossiblePictureSizesAreRefused) {
    const std::pair<jint, jint> sizes[] = {{0, 48},        {64, 0},        {-64, -48},
                                           {32768, 16384}, {65536, 65536}, {2147483647, 2147483647}};
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
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
