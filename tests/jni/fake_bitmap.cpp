#include "tests/jni/fake_bitmap.h"

using zem::test::gBitmap;

zem::test::FakeBitmap zem::test::gBitmap;

int AndroidBitmap_getInfo(JNIEnv*, jobject, AndroidBitmapInfo* info) {
    *info = {6, 4, 32, ANDROID_BITMAP_FORMAT_RGB_565, 0};
    return gBitmap.infoResult;
}
int AndroidBitmap_lockPixels(JNIEnv*, jobject, void** pixels) {
    *pixels = gBitmap.pixels.data();
    gBitmap.locks += gBitmap.lockResult == 0 ? 1 : 0;
    return gBitmap.lockResult;
}
int AndroidBitmap_unlockPixels(JNIEnv*, jobject) {
    --gBitmap.locks;
    return 0;
}
