#include "platform/linux/screen/screen_source.h"

namespace zem {
namespace {

constexpr uint32_t kLongestSide = 16384;  // what graphics hardware of today takes as one surface
constexpr uint64_t kMostBytes = INT32_MAX;

bool isWhole(const android::Rect& crop) {
    return crop.left == 0 && crop.top == 0 && crop.right == 0 && crop.bottom == 0;
}

bool liesInside(const android::Rect& crop, uint32_t width, uint32_t height) {
    return crop.left >= 0 && crop.top >= 0 && !crop.isEmpty() && static_cast<uint32_t>(crop.right) <= width &&
           static_cast<uint32_t>(crop.bottom) <= height;
}

bool isCapturable(uint32_t width, uint32_t height) {
    return width >= 1 && height >= 1 && width <= kLongestSide && height <= kLongestSide &&
           uint64_t{width} * height * sizeof(Rgba) <= kMostBytes;
}

}  // namespace

android::status_t planCapture(const CaptureRequest& request, uint32_t screenWidth, uint32_t screenHeight,
                              CapturePlan* plan) {
    if (isWhole(request.crop)) {
        *plan = {0, 0, screenWidth, screenHeight, 0, 0};
    } else if (liesInside(request.crop, screenWidth, screenHeight)) {
        *plan = {static_cast<uint32_t>(request.crop.left),
                 static_cast<uint32_t>(request.crop.top),
                 static_cast<uint32_t>(request.crop.getWidth()),
                 static_cast<uint32_t>(request.crop.getHeight()),
                 0,
                 0};
    } else {
        return android::BAD_VALUE;
    }
    plan->width = request.width != 0 ? request.width : plan->sourceWidth;
    plan->height = request.height != 0 ? request.height : plan->sourceHeight;
    const bool possible =
        isCapturable(plan->sourceWidth, plan->sourceHeight) && isCapturable(plan->width, plan->height);
    return possible ? android::OK : android::BAD_VALUE;
}

}  // namespace zem
