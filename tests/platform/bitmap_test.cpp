// Proves the bitmap functions on a real Java VM that checks every call. Would catch: red and blue exchanged
// between native bytes and Java's colour, a stride in pixels, a lock of a recycled bitmap, pixels freed under
// a lock, an exception left pending.
#include <android/bitmap.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>

// Read by AddressSanitizer where it is built in: a VM raises SIGSEGV for purposes of its own, and is never
// taken down.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
const char* __asan_default_options() {
    return "handle_segv=0:detect_leaks=0";
}

namespace {

constexpr int kSuccess = ANDROID_BITMAP_RESULT_SUCCESS;
constexpr int kBadParameter = ANDROID_BITMAP_RESULT_BAD_PARAMETER;

jint JNICALL failOnOutput(FILE* /*file*/, const char* format, va_list arguments) {
    char text[4096];
    const int length = vsnprintf(text, sizeof text, format, arguments);
    ADD_FAILURE() << "the VM says: " << text;
    return length;
}

// Starts the VM with -Xcheck:jni; null when that fails.
JNIEnv* startJavaVm() {
    JavaVMOption options[] = {{const_cast<char*>("-Djava.class.path=" ZEM_JAR), nullptr},
                              {const_cast<char*>("-Xcheck:jni"), nullptr},
                              {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(failOnOutput)}};
    JavaVMInitArgs arguments{JNI_VERSION_1_6, 3, options, JNI_FALSE};
    JavaVM* vm = nullptr;
    JNIEnv* env = nullptr;
    return JNI_CreateJavaVM(&vm, &env, &arguments) == JNI_OK ? env : nullptr;
}

class BitmapTest : public testing::Test {
  protected:
    void SetUp() override {
        static JNIEnv* const only = startJavaVm();  // a process can have one, and never a second
        mEnv = only;
        ASSERT_NE(mEnv, nullptr);
        mClass = mEnv->FindClass("android/graphics/Bitmap");
        ASSERT_NE(mClass, nullptr);
    }
    void TearDown() override { EXPECT_FALSE(mEnv->ExceptionCheck()); }

    jobject make(jint width, jint height, const char* config) {
        const char* type = "Landroid/graphics/Bitmap$Config;";
        jclass configs = mEnv->FindClass("android/graphics/Bitmap$Config");
        jobject value = mEnv->GetStaticObjectField(configs, mEnv->GetStaticFieldID(configs, config, type));
        jmethodID create = mEnv->GetStaticMethodID(
            mClass, "createBitmap", "(IILandroid/graphics/Bitmap$Config;)Landroid/graphics/Bitmap;");
        jobject bitmap = mEnv->CallStaticObjectMethod(mClass, create, width, height, value);
        EXPECT_FALSE(mEnv->ExceptionCheck());
        return bitmap;
    }
    uint32_t pixel(jobject bitmap, jint x, jint y) {
        jmethodID get = mEnv->GetMethodID(mClass, "getPixel", "(II)I");
        const jint colour = mEnv->CallIntMethod(bitmap, get, x, y);
        EXPECT_FALSE(mEnv->ExceptionCheck());
        return static_cast<uint32_t>(colour);
    }

    JNIEnv* mEnv = nullptr;
    jclass mClass = nullptr;
};

TEST_F(BitmapTest, NativeBytesAreJavasColours) {
    const uint8_t orange[] = {0xF0, 0x80, 0x10, 0xC0};
    const uint16_t red = 0xF800;  // in the high bits
    const struct {
        const char* config;
        int format;
        uint32_t pixelBytes;
        const void* native;
        uint32_t colour;
    } cases[] = {{"ARGB_8888", ANDROID_BITMAP_FORMAT_RGBA_8888, 4, orange, 0xC0F08010},
                 {"RGB_565", ANDROID_BITMAP_FORMAT_RGB_565, 2, &red, 0xFFFF0000}};
    for (const auto& c : cases) {
        jobject bitmap = make(5, 3, c.config);
        AndroidBitmapInfo info{};
        ASSERT_EQ(AndroidBitmap_getInfo(mEnv, bitmap, &info), kSuccess);
        EXPECT_EQ(info.width, 5U);
        EXPECT_EQ(info.height, 3U);
        EXPECT_EQ(info.stride, 5 * c.pixelBytes);
        EXPECT_EQ(info.format, c.format);
        void* pixels = nullptr;
        ASSERT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, &pixels), kSuccess);
        memcpy(static_cast<uint8_t*>(pixels) + size_t{2} * info.stride + size_t{4} * c.pixelBytes, c.native,
               c.pixelBytes);
        EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bitmap), kSuccess);
        EXPECT_EQ(pixel(bitmap, 4, 2), c.colour);
        EXPECT_EQ(pixel(bitmap, 3, 2) & 0xFFFFFF, 0U);
    }
}

TEST_F(BitmapTest, LocksAreCountedAndOutliveRecycling) {
    jobject bitmap = make(64, 64, "ARGB_8888");
    void* first = nullptr;
    void* second = nullptr;
    EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bitmap), kBadParameter);
    ASSERT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, &first), kSuccess);
    ASSERT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, &second), kSuccess);
    EXPECT_EQ(first, second);
    mEnv->CallVoidMethod(bitmap, mEnv->GetMethodID(mClass, "recycle", "()V"));
    ASSERT_FALSE(mEnv->ExceptionCheck());
    EXPECT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, &second), ANDROID_BITMAP_RESULT_ALLOCATION_FAILED);
    EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bitmap), kSuccess);
    memset(first, 255, size_t{64} * 64 * 4);  // still ours
    EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bitmap), kSuccess);
    EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bitmap), kBadParameter);
}

TEST_F(BitmapTest, BadArgumentsAreRefused) {
    jobject bitmap = make(1, 1, "ARGB_8888");
    AndroidBitmapInfo info{};
    void* pixels = nullptr;
    EXPECT_EQ(AndroidBitmap_getInfo(mEnv, bitmap, nullptr), kBadParameter);
    EXPECT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, nullptr), kBadParameter);
    for (jobject bad : {static_cast<jobject>(nullptr), static_cast<jobject>(mClass)}) {
        EXPECT_EQ(AndroidBitmap_getInfo(mEnv, bad, &info), kBadParameter);
        EXPECT_EQ(AndroidBitmap_lockPixels(mEnv, bad, &pixels), kBadParameter);
        EXPECT_EQ(AndroidBitmap_unlockPixels(mEnv, bad), kBadParameter);
    }
    mEnv->ThrowNew(mEnv->FindClass("java/lang/RuntimeException"), "the caller's");
    EXPECT_EQ(AndroidBitmap_lockPixels(mEnv, bitmap, &pixels), ANDROID_BITMAP_RESULT_JNI_EXCEPTION);
    EXPECT_TRUE(mEnv->ExceptionCheck()) << "it stays the caller's";
    mEnv->ExceptionClear();
}

}  // namespace
