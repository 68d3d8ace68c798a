#include "platform/linux/screen/picture.h"

#include <new>
#include <utility>

namespace zem {

bool Picture::reshape(uint32_t width, uint32_t height) {
    const size_t count = size_t{width} * height;
    if (count > mCapacity) {
        std::unique_ptr<Rgba[]> pixels(new (std::nothrow) Rgba[count]);
        if (!pixels) {
            return false;
        }
        mOwn = std::move(pixels);
        mCapacity = count;
    }
    mBorrowed.reset();
    mPixels = mOwn.get();
    mWidth = width;
    mHeight = height;
    return true;
}

void Picture::borrow(std::shared_ptr<Rgba> pixels, uint32_t width, uint32_t height) {
    mBorrowed = std::move(pixels);
    mPixels = mBorrowed.get();
    mWidth = width;
    mHeight = height;
}

void Picture::giveBack() {
    if (mBorrowed != nullptr) {
        borrow(nullptr, 0, 0);
    }
}

bool turnPicture(const Picture& from, uint32_t quarters, Picture* to) {
    const bool upright = quarters == 2;
    if (!to->reshape(upright ? from.width() : from.height(), upright ? from.height() : from.width())) {
        return false;
    }
    const uint32_t lastColumn = from.width() - 1;
    const uint32_t lastRow = from.height() - 1;
    for (uint32_t y = 0; y < to->height(); ++y) {
        Rgba* out = to->row(y);
        for (uint32_t x = 0; x < to->width(); ++x) {
            switch (quarters) {
                case 1:
                    out[x] = from.row(lastRow - x)[y];
                    break;
                case 2:
                    out[x] = from.row(lastRow - y)[lastColumn - x];
                    break;
                default:
                    out[x] = from.row(x)[lastColumn - y];
                    break;
            }
        }
    }
    return true;
}

}  // namespace zem
