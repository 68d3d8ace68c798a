// A picture as a decoder component gives it, and what a viewer is to see of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace zem::test {

/// A picture whose every pixel differs from its neighbours, in every layout.
struct DecodedPicture {
    int width;
    int height;

    uint8_t luma(int x, int y) const { return static_cast<uint8_t>(20 + (x * 7 + y * 13) % 200); }
    uint8_t cb(int x, int y) const { return static_cast<uint8_t>(60 + (x / 2 * 5 + y / 2 * 3) % 100); }
    uint8_t cr(int x, int y) const { return static_cast<uint8_t>(200 - (x / 2 * 3 + y / 2 * 7) % 120); }

    /// Pairs of chroma in rows of width + remainder bytes, the padding as far from the picture as can be.
    std::vector<uint8_t> padded(int remainder) const { return layOut(width + remainder, true); }
    std::vector<uint8_t> planar() const { return layOut(width, false); }
    /// RGB565, red in the high bits, full range. Red and blue swap their factors: what senders of our own
    /// make of them, reading one for the other, comes back exactly so.
    std::string shown() const {
        std::string bytes;
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                const int red = cr(x, y) - 128;
                const int blue = cb(x, y) - 128;
                const int r = clip(luma(x, y) + ((116130 * red + 32768) >> 16));
                const int g = clip(luma(x, y) + ((-46802 * blue - 22554 * red + 32768) >> 16));
                const int b = clip(luma(x, y) + ((91881 * blue + 32768) >> 16));
                const auto word = static_cast<uint16_t>(r >> 3 << 11 | g >> 2 << 5 | b >> 3);
                bytes.append({static_cast<char>(word & 255), static_cast<char>(word >> 8)});
            }
        }
        return bytes;
    }

  private:
    std::vector<uint8_t> layOut(int row, bool paired) const {
        std::vector<uint8_t> bytes(static_cast<size_t>(row * height * 3 / 2), 255);
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                const int pixel = y * row + x;
                bytes[static_cast<size_t>(pixel)] = luma(x, y);
                const int chroma = row * height + (paired ? y / 2 * row + x / 2 * 2 : (y / 2 * row + x) / 2);
                bytes[static_cast<size_t>(chroma)] = cb(x, y);
                const int other = chroma + (paired ? 1 : row * height / 4);
                bytes[static_cast<size_t>(other)] = cr(x, y);
            }
        }
        return bytes;
    }
    static int clip(int value) { return std::clamp(value, 0, 255); }
};

}  // namespace zem::test
