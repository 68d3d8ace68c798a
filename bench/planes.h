// Pictures without gaps, one plane behind the other, in the formats that the benchmarks convert between.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem::bench {

struct Size {
    int width;
    int height;
    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    size_t yuvBytes() const { return pixels() * 3 / 2; }
};

enum class Layout { Bgr32, Rgb565, I420, Nv12 };

/// Planes and their strides in bytes.
struct Planes {
    Planes(uint8_t* start, Layout layout, Size size) : data{start, nullptr, nullptr, nullptr} {
        const bool isRgb = layout == Layout::Bgr32 || layout == Layout::Rgb565;
        strides[0] = size.width * (layout == Layout::Bgr32 ? 4 : layout == Layout::Rgb565 ? 2 : 1);
        if (!isRgb) {
            data[1] = start + size.pixels();
            strides[1] = layout == Layout::I420 ? size.width / 2 : size.width;
        }
        if (layout == Layout::I420) {
            data[2] = data[1] + size.pixels() / 4;
            strides[2] = strides[1];
        }
    }
    Planes(const uint8_t* start, Layout layout, Size size)
        : Planes(const_cast<uint8_t*>(start), layout, size) {}  // a source: only read

    uint8_t* data[4];
    int strides[4] = {};
};

}  // namespace zem::bench
