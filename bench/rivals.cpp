#include "bench/rivals.h"

#include <libyuv.h>

#include <memory>

#include "bench/limit_kernels.h"
#include "color/rgb_to_yuv.h"
#include "color/tiled_nv12.h"
#include "color/yuv_to_rgb.h"

#if ZEM_BENCH_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}
#endif

namespace zem::bench {

namespace {

struct Size {
    int width;
    int height;
    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    size_t yuvBytes() const { return pixels() * 3 / 2; }
};

enum class Layout { Bgr32, Rgb565, I420, Nv12 };

// Planes without gaps and their rows.
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

template <class Converter>
Convert engine(Size size, Layout from, Layout to) {
    auto converter = std::make_shared<Converter>(size.width, size.height);
    return [=](const uint8_t* source, uint8_t* target) {
        Planes in(source, from, size);
        Planes out(target, to, size);
        converter->convert(out.data, out.strides, in.data, in.strides);
    };
}

Convert limit(Size size, void (*kernel)(const LimitFrame&)) {
    return [=](const uint8_t* source, uint8_t* target) {
        kernel({source, target, static_cast<size_t>(size.width), static_cast<size_t>(size.height)});
    };
}

// The formats by name, without AV_PIX_FMT_.
#if ZEM_BENCH_SWSCALE
Convert swscale(Size size, Layout from, AVPixelFormat fromFormat, Layout to, AVPixelFormat toFormat) {
    const std::shared_ptr<SwsContext> context(
        sws_getContext(size.width, size.height, fromFormat, size.width, size.height, toFormat, SWS_POINT,
                       nullptr, nullptr, nullptr),
        sws_freeContext);
    return [=](const uint8_t* source, uint8_t* target) {
        Planes in(source, from, size);
        Planes out(target, to, size);
        sws_scale(context.get(), in.data, in.strides, 0, size.height, out.data, out.strides);
    };
}
#define SWSCALE(size, from, fromFormat, to, toFormat) \
    swscale(size, from, AV_PIX_FMT_##fromFormat, to, AV_PIX_FMT_##toFormat)
#else
#define SWSCALE(size, from, fromFormat, to, toFormat) nullptr
#endif

// `function(in, out)` on the planes.
template <class Function>
Convert libyuv(Size size, Layout from, Layout to, Function function) {
    return [=](const uint8_t* source, uint8_t* target) {
        function(Planes(source, from, size), Planes(target, to, size));
    };
}

Conversion rgb32ToNv12(int width, int height) {
    const Size size{width, height};
    const Layout from = Layout::Bgr32;
    const Layout to = Layout::Nv12;
    return {size.pixels() * 4,
            size.yuvBytes(),
            engine<Bgr32ToNV12>(size, from, to),
            limit(size, limitRgb32ToNv12),
            libyuv(size, from, to,
                   [=](const Planes& in, const Planes& out) {
                       libyuv::ARGBToNV21(in.data[0], in.strides[0], out.data[0], out.strides[0], out.data[1],
                                          out.strides[1], width, height);
                   }),
            SWSCALE(size, from, BGRA, to, NV21)};
}

Conversion rgb32ToI420(int width, int height) {
    const Size size{width, height};
    const Layout from = Layout::Bgr32;
    const Layout to = Layout::I420;
    return {size.pixels() * 4,
            size.yuvBytes(),
            engine<Bgr32ToYuv420>(size, from, to),
            limit(size, limitRgb32ToI420),
            libyuv(size, from, to,
                   [=](const Planes& in, const Planes& out) {
                       libyuv::ARGBToI420(in.data[0], in.strides[0], out.data[0], out.strides[0], out.data[1],
                                          out.strides[1], out.data[2], out.strides[2], width, height);
                   }),
            SWSCALE(size, from, BGRA, to, YUV420P)};
}

Conversion i420ToBgr32(int width, int height) {
    const Size size{width, height};
    const Layout from = Layout::I420;
    const Layout to = Layout::Bgr32;
    return {size.yuvBytes(),
            size.pixels() * 4,
            engine<Yuv420ToBgr32>(size, from, to),
            limit(size, limitI420ToBgr32),
            libyuv(size, from, to,
                   [=](const Planes& in, const Planes& out) {
                       libyuv::I420ToARGB(in.data[0], in.strides[0], in.data[1], in.strides[1], in.data[2],
                                          in.strides[2], out.data[0], out.strides[0], width, height);
                   }),
            SWSCALE(size, from, YUV420P, to, BGRA)};
}

void libyuvI420To565(const Planes& in, const Planes& out, int width, int height) {
    libyuv::I420ToRGB565(in.data[0], in.strides[0], in.data[1], in.strides[1], in.data[2], in.strides[2],
                         out.data[0], out.strides[0], width, height);
}

Conversion i420To565(int width, int height) {
    const Size size{width, height};
    const Layout from = Layout::I420;
    const Layout to = Layout::Rgb565;
    return {size.yuvBytes(),
            size.pixels() * 2,
            engine<Yuv420ToRgb565>(size, from, to),
            limit(size, limitI420ToRgb565),
            libyuv(size, from, to,
                   [=](const Planes& in, const Planes& out) { libyuvI420To565(in, out, width, height); }),
            SWSCALE(size, from, YUV420P, to, RGB565LE)};
}

Convert libyuvNv12To565(Size size) {
    return libyuv(size, Layout::Nv12, Layout::Rgb565, [=](const Planes& in, const Planes& out) {
        libyuv::NV12ToRGB565(in.data[0], in.strides[0], in.data[1], in.strides[1], out.data[0],
                             out.strides[0], size.width, size.height);
    });
}

Conversion nv12To565(int width, int height) {
    const Size size{width, height};
    const Layout from = Layout::Nv12;
    const Layout to = Layout::Rgb565;
    return {size.yuvBytes(),
            size.pixels() * 2,
            engine<Nv12ToRgb565>(size, from, to),
            limit(size, limitNv12ToRgb565),
            libyuvNv12To565(size),
            SWSCALE(size, from, NV12, to, RGB565LE)};
}

Conversion nv12To565Rotated(int width, int height) {
    const Size size{width, height};
    const Size turned{height, width};
    const auto between = std::make_shared<std::vector<uint8_t>>(size.yuvBytes());
    const Convert rotate = [=](const uint8_t* source, uint8_t* target) {
        const Planes in(source, Layout::Nv12, size);
        const Planes upright(between->data(), Layout::I420, turned);
        libyuv::NV12ToI420Rotate(in.data[0], in.strides[0], in.data[1], in.strides[1], upright.data[0],
                                 upright.strides[0], upright.data[1], upright.strides[1], upright.data[2],
                                 upright.strides[2], width, height, libyuv::kRotate270);
        libyuvI420To565(upright, Planes(target, Layout::Rgb565, turned), height, width);
    };
    return {size.yuvBytes(),
            size.pixels() * 2,
            engine<Nv12ToRgb565Rotate>(size, Layout::Nv12, Layout::Rgb565),
            limit(size, limitNv12ToRgb565),
            rotate,
            nullptr};
}

Conversion tiledNv12To565(int width, int height) {
    const Size size{width, height};
    initClip();  // stays: the conversions would make one each
    const Convert tiled = [=](const uint8_t* source, uint8_t* target) {
        convertNV12Tile(static_cast<unsigned>(width), static_cast<unsigned>(height), source, 0, target,
                        2 * static_cast<unsigned>(width));
    };
    return {static_cast<size_t>(tiledNv12Bytes(width, height)),
            size.pixels() * 2,
            tiled,
            limit(size, limitNv12ToRgb565),
            libyuvNv12To565(size),
            nullptr};
}

}  // namespace

const std::vector<Subject>& subjects() {
    static const std::vector<Subject> all = {
        {"RGB32 to NV12", rgb32ToNv12},
        {"RGB32 to I420", rgb32ToI420},
        {"I420 to RGB32", i420ToBgr32},
        {"I420 to RGB565", i420To565},
        {"NV12 to RGB565", nv12To565},
        {"NV12 to RGB565 rotated", nv12To565Rotated},
        {"tiled NV12 to RGB565", tiledNv12To565},
    };
    return all;
}

}  // namespace zem::bench
