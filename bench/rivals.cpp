#include "bench/rivals.h"

#include <libyuv.h>

#include <memory>

#include "bench/limit_kernels.h"
#include "bench/planes.h"
#include "color/tiled_nv12.h"

#if ZEM_BENCH_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}
#endif

namespace zem::bench {

namespace {

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
            vectorEngine(width, height).rgb32ToNv12,
            tableEngine(width, height).rgb32ToNv12,
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
            vectorEngine(width, height).rgb32ToI420,
            tableEngine(width, height).rgb32ToI420,
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
            vectorEngine(width, height).i420ToBgr32,
            tableEngine(width, height).i420ToBgr32,
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
            vectorEngine(width, height).i420To565,
            tableEngine(width, height).i420To565,
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
    return {size.yuvBytes(),
            size.pixels() * 2,
            vectorEngine(width, height).nv12To565,
            tableEngine(width, height).nv12To565,
            limit(size, limitNv12ToRgb565),
            libyuvNv12To565(size),
            SWSCALE(size, Layout::Nv12, NV12, Layout::Rgb565, RGB565LE)};
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
            vectorEngine(width, height).nv12To565Rotated,
            tableEngine(width, height).nv12To565Rotated,
            limit(size, limitNv12ToTurnedRgb565),
            rotate,
            nullptr};
}

Conversion tiledNv12To565(int width, int height) {
    const Size size{width, height};
    return {static_cast<size_t>(tiledNv12Bytes(width, height)),
            size.pixels() * 2,
            vectorEngine(width, height).tiledNv12To565,
            tableEngine(width, height).tiledNv12To565,
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
