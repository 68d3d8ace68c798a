// The plain rectangle that the platform's C and C++ interfaces share.
#ifndef ANDROID_RECT_H
#define ANDROID_RECT_H

#include <stdint.h>

/// Pixels; right and bottom lie outside.
typedef struct ARect {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} ARect;

#endif
