// Checks of what Java passes in, before the engine trusts it. Each refusal is one log line.
#pragma once

#include <jni.h>

#include <cstdint>

namespace zem {

/// Address of byte `offset` of a direct buffer that holds `size` bytes from there on. Null, with a line
/// that names `method`, for a null or heap buffer, a negative number, or a range past the capacity.
uint8_t* directRange(JNIEnv* env, const char* method, jobject buffer, jint offset, jint size);

/// Whether pictures of this size can be counted in 31 bits, at 4 bytes a pixel.
bool isPictureSize(const char* method, jint width, jint height);

}  // namespace zem
