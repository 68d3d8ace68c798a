// The moving test card: colour bars, below them a block that travels, and a frame counter.
#include <algorithm>
#include <cstring>

#include "platform/linux/screen/card_digits.h"
#include "platform/linux/screen/screen_source.h"

namespace zem {
namespace {

// What the card gives as the screen's own size.
constexpr uint32_t kCardWidth = 1280;
constexpr uint32_t kCardHeight = 720;

constexpr Rgba kWhite{255, 255, 255, 255};
constexpr Rgba kBlack{0, 0, 0, 255};
constexpr Rgba kGround{32, 32, 32, 255};
// The usual order of bars, from light to dark.
constexpr Rgba kBars[] = {kWhite,
                          {255, 255, 0, 255},
                          {0, 255, 255, 255},
                          {0, 255, 0, 255},
                          {255, 0, 255, 255},
                          {255, 0, 0, 255},
                          {0, 0, 255, 255},
                          kBlack};
constexpr uint32_t kBarCount = sizeof kBars / sizeof kBars[0];
constexpr uint32_t kCounterDigits = 6;
constexpr uint32_t kStepsAcross = 64;  // captures that the block takes from side to side

/// Fills what of the rectangle lies inside the picture.
void fill(Picture* picture, uint32_t left, uint32_t top, uint32_t width, uint32_t height, Rgba colour) {
    const uint32_t right = std::min(picture->width(), left + width);
    const uint32_t bottom = std::min(picture->height(), top + height);
    for (uint32_t y = top; y < bottom; ++y) {
        for (uint32_t x = left; x < right; ++x) {
            picture->row(y)[x] = colour;
        }
    }
}

void drawBars(Picture* picture, uint32_t height) {
    const uint32_t width = picture->width();
    Rgba* first = picture->row(0);
    for (uint32_t x = 0; x < width; ++x) {
        first[x] = kBars[x * kBarCount / width];
    }
    for (uint32_t y = 1; y < height; ++y) {
        memcpy(picture->row(y), first, width * sizeof(Rgba));
    }
}

/// A block that wanders to the right in the band below `top`, and starts again at the left.
void drawBlock(Picture* picture, uint32_t top, uint32_t frame) {
    const uint32_t band = picture->height() - top;
    const uint32_t side = std::max(1U, std::min(band / 2, picture->width() / 2));
    const uint32_t way = picture->width() - side;
    fill(picture, 0, top, picture->width(), band, kGround);
    fill(picture, frame % kStepsAcross * way / (kStepsAcross - 1), top + (band - side) / 2, side, side,
         kWhite);
}

void drawDigit(Picture* picture, uint32_t digit, uint32_t left, uint32_t top, uint32_t dot) {
    for (uint32_t row = 0; row < kDigitRows; ++row) {
        for (uint32_t column = 0; column < kDigitColumns; ++column) {
            const bool lit = (kDigits[digit][row] >> (kDigitColumns - 1 - column) & 1) != 0;
            fill(picture, left + column * dot, top + row * dot, dot, dot, lit ? kWhite : kBlack);
        }
    }
}

void drawCounter(Picture* picture, uint32_t frame) {
    const uint32_t dot = std::max(1U, picture->height() / 64);
    const uint32_t pitch = (kDigitColumns + 1) * dot;
    fill(picture, 0, 0, kCounterDigits * pitch + dot, (kDigitRows + 2) * dot, kBlack);
    for (uint32_t place = kCounterDigits; place-- > 0;) {
        drawDigit(picture, frame % 10, dot + place * pitch, dot, dot);
        frame /= 10;
    }
}

/// Draws straight at the size asked for. A crop is checked and gives its size, but the card shows whole.
class TestCard final : public ScreenSource {
  public:
    android::status_t capture(const CaptureRequest& request, Picture* picture) override {
        CapturePlan plan{};
        const android::status_t status = planCapture(request, kCardWidth, kCardHeight, &plan);
        if (status != android::OK) {
            return status;
        }
        if (!picture->reshape(plan.width, plan.height)) {
            return android::NO_MEMORY;
        }
        const uint32_t barHeight = (plan.height + 1) * 3 / 4;
        drawBars(picture, barHeight);
        if (barHeight < plan.height) {
            drawBlock(picture, barHeight, mFrame);
        }
        drawCounter(picture, mFrame);
        ++mFrame;
        return android::OK;
    }

  private:
    uint32_t mFrame = 0;
};

}  // namespace

std::unique_ptr<ScreenSource> makeTestCard() {
    return std::make_unique<TestCard>();
}

}  // namespace zem
