// Figures 0 to 9 for the test card's frame counter: 3 x 5 dots each.
#pragma once

#include <cstdint>

namespace zem {

constexpr uint32_t kDigitColumns = 3;
constexpr uint32_t kDigitRows = 5;

/// Five rows from top to bottom, three dots each, the left one in bit 2.
constexpr uint8_t kDigits[10][kDigitRows] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 2, 2, 2}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7},
};

}  // namespace zem
