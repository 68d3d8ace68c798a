#include "jni/direct_buffer.h"

#include <limits>

#include "base/log.h"

namespace zem {

uint8_t* directRange(JNIEnv* env, const char* method, jobject buffer, jint offset, jint size) {
    // A Java null must not reach the VM, which may not survive it.
    void* const address = buffer != nullptr ? env->GetDirectBufferAddress(buffer) : nullptr;
    const jlong capacity = address != nullptr ? env->GetDirectBufferCapacity(buffer) : -1;
    if (offset < 0 || size < 0 || int64_t{offset} + size > capacity) {
        LOGE("%s: refused, buffer=%p (%s), offset=%d, size=%d, capacity=%lld", method,
             static_cast<void*>(buffer), address != nullptr ? "direct" : "not direct", offset, size,
             static_cast<long long>(capacity));
        return nullptr;
    }
    return static_cast<uint8_t*>(address) + offset;
}

bool isPictureSize(const char* method, jint width, jint height) {
    constexpr int64_t kMaxPixels = std::numeric_limits<int32_t>::max() / 4;
    if (width < 1 || height < 1 || int64_t{width} * height > kMaxPixels) {
        LOGE("%s: refused, width=%d, height=%d", method, width, height);
        return false;
    }
    return true;
}

}  // namespace zem
