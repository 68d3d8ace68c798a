// AndroidBitmap_*: native access to the pixels of an android.graphics.Bitmap.
#include <android/bitmap.h>
#include <jni.h>

namespace {

/// Clears the exception that a call of ours left behind, and says whether there was one.
bool threw(JNIEnv* env) {
    if (!env->ExceptionCheck()) {
        return false;
    }
    env->ExceptionClear();
    return true;
}

/// Gives local references back at its end: engine threads never return to Java, which would do it.
class LocalFrame {
  public:
    explicit LocalFrame(JNIEnv* env) : mEnv(env), mPushed(env->PushLocalFrame(8) == 0) {}
    ~LocalFrame() {
        if (mPushed) {
            mEnv->PopLocalFrame(nullptr);
        }
    }
    LocalFrame(const LocalFrame&) = delete;
    LocalFrame& operator=(const LocalFrame&) = delete;

    bool pushed() const { return mPushed; }

  private:
    JNIEnv* const mEnv;
    const bool mPushed;
};

/// The Java object behind one call.
class JavaBitmap {
  public:
    JavaBitmap(JNIEnv* env, jobject bitmap) : mEnv(env), mFrame(env), mBitmap(bitmap), mClass(nullptr) {}

    /// To be called before the rest. BAD_PARAMETER for an object of another class.
    int open() {
        mClass = mFrame.pushed() ? mEnv->FindClass("android/graphics/Bitmap") : nullptr;
        if (threw(mEnv) || mClass == nullptr) {
            return ANDROID_BITMAP_RESULT_JNI_EXCEPTION;
        }
        return mEnv->IsInstanceOf(mBitmap, mClass) ? ANDROID_BITMAP_RESULT_SUCCESS
                                                   : ANDROID_BITMAP_RESULT_BAD_PARAMETER;
    }

    /// False, with nothing written, when Java threw.
    bool getInt(const char* method, jint* value) {
        jmethodID id = find(method, "()I");
        const jint got = id != nullptr ? mEnv->CallIntMethod(mBitmap, id) : 0;
        return id != nullptr && !threw(mEnv) && (*value = got, true);
    }

    int lock(void** pixels) {
        jmethodID id = find("lockPixels", "()Ljava/nio/ByteBuffer;");
        jobject buffer = id != nullptr ? mEnv->CallObjectMethod(mBitmap, id) : nullptr;
        if (id == nullptr || threw(mEnv)) {
            return ANDROID_BITMAP_RESULT_JNI_EXCEPTION;
        }
        if (buffer == nullptr) {
            return ANDROID_BITMAP_RESULT_ALLOCATION_FAILED;  // recycled: there are no pixels to come back
        }
        *pixels = mEnv->GetDirectBufferAddress(buffer);
        return ANDROID_BITMAP_RESULT_SUCCESS;
    }

    int unlock() {
        jmethodID id = find("unlockPixels", "()Z");
        const bool wasLocked = id != nullptr && mEnv->CallBooleanMethod(mBitmap, id);
        if (id == nullptr || threw(mEnv)) {
            return ANDROID_BITMAP_RESULT_JNI_EXCEPTION;
        }
        return wasLocked ? ANDROID_BITMAP_RESULT_SUCCESS : ANDROID_BITMAP_RESULT_BAD_PARAMETER;
    }

  private:
    jmethodID find(const char* method, const char* signature) {
        jmethodID id = mEnv->GetMethodID(mClass, method, signature);
        return threw(mEnv) ? nullptr : id;
    }

    JNIEnv* const mEnv;
    const LocalFrame mFrame;
    jobject mBitmap;
    jclass mClass;  // lives in mFrame
};

/// What every function refuses. An exception that is pending already is the caller's: it stays, and
/// nothing may be called.
int checkArguments(JNIEnv* env, jobject bitmap) {
    if (env == nullptr || bitmap == nullptr) {
        return ANDROID_BITMAP_RESULT_BAD_PARAMETER;
    }
    return env->ExceptionCheck() ? ANDROID_BITMAP_RESULT_JNI_EXCEPTION : ANDROID_BITMAP_RESULT_SUCCESS;
}

int readInfo(JavaBitmap* bitmap, AndroidBitmapInfo* info) {
    jint width = 0;
    jint height = 0;
    jint rowBytes = 0;
    jint format = 0;
    if (!bitmap->getInt("getWidth", &width) || !bitmap->getInt("getHeight", &height) ||
        !bitmap->getInt("getRowBytes", &rowBytes) || !bitmap->getInt("nativeFormat", &format)) {
        return ANDROID_BITMAP_RESULT_JNI_EXCEPTION;
    }
    *info = {static_cast<uint32_t>(width), static_cast<uint32_t>(height), static_cast<uint32_t>(rowBytes),
             format, 0};
    return ANDROID_BITMAP_RESULT_SUCCESS;
}

}  // namespace

extern "C" int AndroidBitmap_getInfo(JNIEnv* env, jobject jbitmap, AndroidBitmapInfo* info) {
    const int refused = info != nullptr ? checkArguments(env, jbitmap) : ANDROID_BITMAP_RESULT_BAD_PARAMETER;
    if (refused != ANDROID_BITMAP_RESULT_SUCCESS) {
        return refused;
    }
    JavaBitmap bitmap(env, jbitmap);
    const int opened = bitmap.open();
    return opened == ANDROID_BITMAP_RESULT_SUCCESS ? readInfo(&bitmap, info) : opened;
}

extern "C" int AndroidBitmap_lockPixels(JNIEnv* env, jobject jbitmap, void** addrPtr) {
    const int refused =
        addrPtr != nullptr ? checkArguments(env, jbitmap) : ANDROID_BITMAP_RESULT_BAD_PARAMETER;
    if (refused != ANDROID_BITMAP_RESULT_SUCCESS) {
        return refused;
    }
    JavaBitmap bitmap(env, jbitmap);
    const int opened = bitmap.open();
    return opened == ANDROID_BITMAP_RESULT_SUCCESS ? bitmap.lock(addrPtr) : opened;
}

extern "C" int AndroidBitmap_unlockPixels(JNIEnv* env, jobject jbitmap) {
    const int refused = checkArguments(env, jbitmap);
    if (refused != ANDROID_BITMAP_RESULT_SUCCESS) {
        return refused;
    }
    JavaBitmap bitmap(env, jbitmap);
    const int opened = bitmap.open();
    return opened == ANDROID_BITMAP_RESULT_SUCCESS ? bitmap.unlock() : opened;
}
