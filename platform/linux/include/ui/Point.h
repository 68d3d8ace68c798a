// A point on a surface, in pixels.
#ifndef ANDROID_UI_POINT
#define ANDROID_UI_POINT

#include <stdint.h>

namespace android {

class Point {
  public:
    int x = 0;
    int y = 0;

    Point() = default;
    Point(int px, int py) : x(px), y(py) {}
};

}  // namespace android

#endif
