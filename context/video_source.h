// The open frame source together with the size that was asked of it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "capture/video_input.h"

namespace zem {

/// What a frame source holds at one moment.
struct Picture {
    const uint8_t* pixels = nullptr;  // the source's; valid until its next capture
    int stride = 0;                   // pixels
    int size = 0;                     // bytes
    int format = 0;                   // the platform's number; 4 is RGB 565

    int bytesPerPixel() const { return format == 4 ? 2 : 4; }

    /// Whether rows of `width` pixels times `height` can be read: not so before the first capture, when
    /// a source may still hold a small probe of the screen.
    bool holds(int width, int height, int pixelBytes) const {
        return pixels != nullptr && width > 0 && height > 0 && stride >= width &&
               size >= int64_t{pixelBytes} * stride * height;
    }
};

/// Shared by the calls that use it; the last one ends the source.
struct VideoSource {
    VideoSource(std::unique_ptr<VideoInput> source, int wantedWidth, int wantedHeight)
        : input(std::move(source)), width(wantedWidth), height(wantedHeight) {}

    /// Takes a new picture; null pixels when that failed. The caller holds `mutex`.
    Picture capture() { return describe(input->capture()); }
    /// The picture taken last. The caller holds `mutex`.
    Picture captured() { return describe(input->getcaptured()); }

    const std::unique_ptr<VideoInput> input;
    const int width;   // pixels, as asked for
    const int height;  // pixels, as asked for
    std::mutex mutex;  // guards all calls of `input`, which serves one thread at a time

  private:
    Picture describe(const void* pixels) const {
        return {static_cast<const uint8_t*>(pixels), input->getStride(), input->getSize(),
                input->getFormat()};
    }
};

}  // namespace zem
