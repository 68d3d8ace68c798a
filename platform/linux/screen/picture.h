// The buffer that one captured picture lives in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zem {

/// One pixel in the byte order that captures have.
struct Rgba {
    uint8_t r;
    uint8_t g;
    uint8_t b;
    uint8_t a;
};
static_assert(sizeof(Rgba) == 4, "pixels lie without a gap");

/// Rows of pixels without a gap. Not thread-safe.
class Picture {
  public:
    /// Makes the picture `width` x `height` pixels of undefined colour, in memory of its own. False when
    /// there is no memory: the old picture is then untouched. Memory is kept for later pictures, never given
    /// back.
    bool reshape(uint32_t width, uint32_t height);
    /// Makes the picture the first `width` x `height` pixels of `pixels`, which are not copied: whoever
    /// writes there changes the picture. They are kept until the next reshape(), borrow() or giveBack().
    void borrow(std::shared_ptr<Rgba> pixels, uint32_t width, uint32_t height);
    /// Ends a loan: there is then no picture. Else does nothing.
    void giveBack();

    uint32_t width() const { return mWidth; }
    uint32_t height() const { return mHeight; }
    /// Null while there is no picture.
    Rgba* row(uint32_t y) { return mPixels + size_t{y} * mWidth; }
    const Rgba* row(uint32_t y) const { return mPixels + size_t{y} * mWidth; }
    const Rgba* pixels() const { return mPixels; }

  private:
    std::unique_ptr<Rgba[]> mOwn;
    size_t mCapacity = 0;  // of mOwn, pixels
    std::shared_ptr<Rgba> mBorrowed;
    Rgba* mPixels = nullptr;  // one of the two
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
};

/// Fills `to` with `from` turned clockwise by `quarters` (1..3). False when there is no memory.
bool turnPicture(const Picture& from, uint32_t quarters, Picture* to);

}  // namespace zem
