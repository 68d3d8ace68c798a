// The engine's log: one tag, five levels, printf formats checked by the compiler.
#pragma once

#include <android/log.h>

#define ZEM_LOG_TAG "ZEM"

// Level 6: errors, and the messages whose level the field's tools rely on.
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, ZEM_LOG_TAG, __VA_ARGS__)
// Level 5.
#define LOGW(...) __android_log_print(ANDROID_LOG_WARN, ZEM_LOG_TAG, __VA_ARGS__)
// Level 4: progress.
#define LOGI(...) __android_log_print(ANDROID_LOG_INFO, ZEM_LOG_TAG, __VA_ARGS__)
// Level 3: diagnostics.
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, ZEM_LOG_TAG, __VA_ARGS__)
// Level 2: diagnostics of every call.
#define LOGV(...) __android_log_print(ANDROID_LOG_VERBOSE, ZEM_LOG_TAG, __VA_ARGS__)
