// A rectangle on a surface, in pixels; right and bottom lie outside.
#ifndef ANDROID_UI_RECT
#define ANDROID_UI_RECT

#include <android/rect.h>
#include <stdint.h>
#include <ui/Point.h>

namespace android {

class Rect : public ARect {
  public:
    /// The device's release leaves the members unset here. So that code which relies on zeros is found at
    /// a desk, they hold a rectangle that is invalid and that every capture refuses.
    Rect() : ARect{0, 0, INT32_MIN, INT32_MIN} {}
    Rect(int32_t w, int32_t h) : ARect{0, 0, w, h} {}
    Rect(int32_t l, int32_t t, int32_t r, int32_t b) : ARect{l, t, r, b} {}
    Rect(const Point& lt, const Point& rb) : ARect{lt.x, lt.y, rb.x, rb.y} {}

    int32_t getWidth() const { return right - left; }
    int32_t getHeight() const { return bottom - top; }
    int32_t width() const { return getWidth(); }
    int32_t height() const { return getHeight(); }
    bool isEmpty() const { return left >= right || top >= bottom; }
    bool isValid() const { return left <= right && top <= bottom; }
};

}  // namespace android

#endif
