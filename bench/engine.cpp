#include "bench/engine.h"

#include <memory>

#include "bench/planes.h"
#include "color/rgb_to_yuv.h"
#include "color/tiled_nv12.h"
#include "color/yuv_to_rgb.h"

#if ZEM_SIMD
#define ZEM_BENCH_ENGINE vectorEngine
#else
#define ZEM_BENCH_ENGINE tableEngine
#endif

namespace zem::bench {

namespace {

template <class Converter>
Convert convert(Size size, Layout from, Layout to) {
    auto converter = std::make_shared<Converter>(size.width, size.height);
    return [=](const uint8_t* source, uint8_t* target) {
        Planes in(source, from, size);
        Planes out(target, to, size);
        converter->convert(out.data, out.strides, in.data, in.strides);
    };
}

Convert tiled(unsigned width, unsigned height) {
    initClip();  // stays: the conversions would make one each
    return [=](const uint8_t* source, uint8_t* target) {
        convertNV12Tile(width, height, source, 0, target, 2 * width);
    };
}

}  // namespace

Engine ZEM_BENCH_ENGINE(int width, int height) {
    const Size size{width, height};
    return {convert<Bgr32ToNV12>(size, Layout::Bgr32, Layout::Nv12),
            convert<Bgr32ToYuv420>(size, Layout::Bgr32, Layout::I420),
            convert<Yuv420ToBgr32>(size, Layout::I420, Layout::Bgr32),
            convert<Yuv420ToRgb565>(size, Layout::I420, Layout::Rgb565),
            convert<Nv12ToRgb565>(size, Layout::Nv12, Layout::Rgb565),
            convert<Nv12ToRgb565Rotate>(size, Layout::Nv12, Layout::Rgb565),
            tiled(static_cast<unsigned>(width), static_cast<unsigned>(height))};
}

}  // namespace zem::bench
