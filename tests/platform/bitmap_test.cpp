// Proves the bitmap functions on a real Java VM that checks every call. Would catch: red and blue exchanged
// between native bytes and Java's colour, a stride in pixels, a lock of a recycled bitmap, pixels freed under
// a lock, an exception left pending, a local reference kept for every call.
#include <android/bitmap.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/platform/java_vm.h"

namespace zem::test {
namespace {

constexpr int kSuccess = ANDROID_BITMAP_RESULT_SUCCESS;
constexpr int kBadParameter = ANDROID_BITMAP_RESULT_BAD_PARAMETER;

class BitmapTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { gEnv = startJavaVm(ZEM_LIBJVM, ZEM_JAR); }

    void SetUp() override {
        ASSERT_NE(gEnv, nullptr);
        mQuietUpTo = javaVmOutput().size();
        ASSERT_EQ(gEnv->PushLocalFrame(256), 0);
        mClass = gEnv->FindClass("android/graphics/Bitmap");
        ASSERT_NE(mClass, nullptr);
    }
    void TearDown() override {
        EXPECT_FALSE(gEnv->ExceptionCheck());
        EXPECT_EQ(javaVmOutput().substr(mQuietUpTo), "");
        gEnv->PopLocalFrame(nullptr);
    }

    jobject make(jint width, jint height, const char* config) {
        const char* type = "Landroid/graphics/Bitmap$Config;";
        const jclass configs = gEnv->FindClass("android/graphics/Bitmap$Config");
        const jobject value =
            gEnv->GetStaticObjectField(configs, gEnv->GetStaticFieldID(configs, config, type));
        const jmethodID create = gEnv->GetStaticMethodID(
            mClass, "createBitmap", "(IILandroid/graphics/Bitmap$Config;)Landroid/graphics/Bitmap;");
        const jobject bitmap = gEnv->CallStaticObjectMethod(mClass, create, width, height, value);
        noteException();
        return bitmap;
    }
    uint32_t pixel(jobject bitmap, jint x, jint y) {
        const jint colour = gEnv->CallIntMethod(bitmap, gEnv->GetMethodID(mClass, "getPixel", "(II)I"), x, y);
        noteException();
        return static_cast<uint32_t>(colour);
    }
    void recycle(jobject bitmap) {
        gEnv->CallVoidMethod(bitmap, gEnv->GetMethodID(mClass, "recycle", "()V"));
        noteException();
    }
    void noteException() {
        mThrew = gEnv->ExceptionCheck();
        gEnv->ExceptionClear();
    }

    size_t mQuietUpTo = 0;  // how much the VM had said before the test
    bool mThrew = false;    // what the last call above did
    static JNIEnv* gEnv;
    jclass mClass = nullptr;
};
JNIEnv* BitmapTest::gEnv = nullptr;

TEST_F(BitmapTest, NativeBytesAreJavasColours) {
    const jobject bitmap = make(5, 3, "ARGB_8888");
    AndroidBitmapInfo info{};
    ASSERT_EQ(AndroidBitmap_getInfo(gEnv, bitmap, &info), kSuccess);
    EXPECT_EQ(info.width, 5U);
    EXPECT_EQ(info.height, 3U);
    EXPECT_EQ(info.stride, 20U);
    EXPECT_EQ(info.format, ANDROID_BITMAP_FORMAT_RGBA_8888);
    void* pixels = nullptr;
    ASSERT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &pixels), kSuccess);
    const uint8_t orange[] = {0xF0, 0x80, 0x10, 0xC0};
    memcpy(static_cast<uint8_t*>(pixels) + 2 * info.stride + 4 * 4, orange, sizeof orange);
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kSuccess);
    EXPECT_EQ(pixel(bitmap, 4, 2), 0xC0F08010U);
    EXPECT_EQ(pixel(bitmap, 3, 2), 0U);
}

TEST_F(BitmapTest, ShortPixelsHaveRedInTheHighBits) {
    const jobject bitmap = make(3, 2, "RGB_565");
    AndroidBitmapInfo info{};
    ASSERT_EQ(AndroidBitmap_getInfo(gEnv, bitmap, &info), kSuccess);
    EXPECT_EQ(info.stride, 6U);
    EXPECT_EQ(info.format, ANDROID_BITMAP_FORMAT_RGB_565);
    void* pixels = nullptr;
    ASSERT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &pixels), kSuccess);
    const uint16_t words[] = {0xF800, 0x07E0, 0x001F, 0x8410, 0xFFFF, 0};
    memcpy(pixels, words, sizeof words);
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kSuccess);
    const uint32_t colours[] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFF848284, 0xFFFFFFFF, 0xFF000000};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(pixel(bitmap, i % 3, i / 3), colours[i]) << i;
    }
}

TEST_F(BitmapTest, LocksAreCountedAndOutliveRecycling) {
    const jobject bitmap = make(64, 64, "ARGB_8888");
    void* first = nullptr;
    void* second = nullptr;
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kBadParameter);
    ASSERT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &first), kSuccess);
    ASSERT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &second), kSuccess);
    EXPECT_EQ(first, second);
    recycle(bitmap);
    EXPECT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &second), ANDROID_BITMAP_RESULT_ALLOCATION_FAILED);
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kSuccess);
    const jclass system = gEnv->FindClass("java/lang/System");
    gEnv->CallStaticVoidMethod(system, gEnv->GetStaticMethodID(system, "gc", "()V"));
    noteException();
    memset(first, 255, 64 * 64 * 4);  // still ours
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kSuccess);
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kBadParameter);
    pixel(bitmap, 0, 0);
    EXPECT_TRUE(mThrew);
}

TEST_F(BitmapTest, BadArgumentsAreRefused) {
    const jobject bitmap = make(1, 1, "ARGB_8888");
    const jobject text = gEnv->NewStringUTF("no bitmap");
    AndroidBitmapInfo info{};
    void* pixels = nullptr;
    EXPECT_EQ(AndroidBitmap_getInfo(nullptr, bitmap, &info), kBadParameter);
    EXPECT_EQ(AndroidBitmap_getInfo(gEnv, nullptr, &info), kBadParameter);
    EXPECT_EQ(AndroidBitmap_getInfo(gEnv, bitmap, nullptr), kBadParameter);
    EXPECT_EQ(AndroidBitmap_getInfo(gEnv, text, &info), kBadParameter);
    EXPECT_EQ(AndroidBitmap_lockPixels(gEnv, nullptr, &pixels), kBadParameter);
    EXPECT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, nullptr), kBadParameter);
    EXPECT_EQ(AndroidBitmap_lockPixels(gEnv, text, &pixels), kBadParameter);
    EXPECT_EQ(AndroidBitmap_unlockPixels(gEnv, nullptr), kBadParameter);
    EXPECT_EQ(pixels, nullptr);
    const jint sizes[][2] = {{0, 1}, {1, -1}, {30000, 30000}};
    for (const auto& size : sizes) {
        make(size[0], size[1], "ARGB_8888");
        EXPECT_TRUE(mThrew) << size[0];
    }
    for (const jint outside : {-1, 1}) {
        pixel(bitmap, outside, 0);
        EXPECT_TRUE(mThrew) << outside;
    }
}

TEST_F(BitmapTest, CallersExceptionStaysPending) {
    const jobject bitmap = make(1, 1, "ARGB_8888");
    void* pixels = nullptr;
    gEnv->ThrowNew(gEnv->FindClass("java/lang/RuntimeException"), "the caller's");
    EXPECT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &pixels), ANDROID_BITMAP_RESULT_JNI_EXCEPTION);
    noteException();
    EXPECT_TRUE(mThrew);
}

TEST_F(BitmapTest, CallsOfAThreadThatNeverReturnsToJavaKeepNothing) {
    for (int i = 0; i < 40; ++i) {  // 4 MiB each, in a VM that has 64: the pixels have to go
        const jobject bitmap = make(1024, 1024, "ARGB_8888");
        ASSERT_NE(bitmap, nullptr) << "bitmap " << i;
        AndroidBitmapInfo info{};
        void* pixels = nullptr;
        ASSERT_EQ(AndroidBitmap_getInfo(gEnv, bitmap, &info), kSuccess);
        ASSERT_EQ(AndroidBitmap_lockPixels(gEnv, bitmap, &pixels), kSuccess);
        ASSERT_EQ(AndroidBitmap_unlockPixels(gEnv, bitmap), kSuccess);
        gEnv->DeleteLocalRef(bitmap);
    }
}

}  // namespace
}  // namespace zem::test
