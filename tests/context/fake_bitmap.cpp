// Bitmap functions that answer what the test asks for, where no bitmap is.
#include <android/bitmap.h>

#include "tests/context/fake_media.h"

using zem::test::fakeDevice;

int AndroidBitmap_getInfo(JNIEnv*, jobject, AndroidBitmapInfo*) {
    return fakeDevice().bitmapInfoResult;
}
int AndroidBitmap_lockPixels(JNIEnv*, jobject, void**) {
    return fakeDevice().bitmapLockResult;
}
int AndroidBitmap_unlockPixels(JNIEnv*, jobject) {
    ++fakeDevice().bitmapUnlocks;
    return 0;
}
