#include "color/omx_av_frame.h"

#include <algorithm>
#include <limits>
#include <new>

#include "base/log.h"
#include "color/walk_size.h"

namespace {

constexpr int kPlanes = 4;

struct PlaneSize {
    int64_t recorded;  // what goes into the record
    int64_t bytes;     // what the picture has
    uint64_t written;  // what a converter writes
};

using Layout = PlaneSize[kPlanes];

bool fits31Bits(const Layout& layout) {
    return std::all_of(layout, layout + kPlanes, [](const PlaneSize& plane) {
        constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
        return plane.recorded <= kMost && plane.bytes <= kMost;
    });
}

uint64_t roomOf(const PlaneSize& plane) {
    return std::max(static_cast<uint64_t>(std::max<int64_t>(plane.bytes, 0)), plane.written);
}

// A plane recorded as 0 bytes counts as absent and is never freed, yet converters write chroma for
// pictures of 1x1 to 3x1: its few bytes lie at the end of plane 0.
bool allocatePlanes(OmxAVFrame* picture, const Layout& layout) {
    uint64_t tail = 0;
    for (int i = 1; i < kPlanes; ++i) {
        tail += layout[i].recorded > 0 ? 0 : layout[i].written;
    }
    for (int i = 0; i < kPlanes; ++i) {
        if (layout[i].recorded <= 0) {
            continue;
        }
        const uint64_t bytes = roomOf(layout[i]) + (i == 0 ? tail : 0);
        if (bytes <= std::numeric_limits<size_t>::max()) {
            picture->data[i] = new (std::nothrow) uint8_t[static_cast<size_t>(bytes)];
        }
        if (!picture->data[i]) {
            return false;
        }
        picture->size[i] = static_cast<int32_t>(layout[i].recorded);
    }
    uint8_t* next = picture->data[0] ? picture->data[0] + roomOf(layout[0]) : nullptr;
    for (int i = 1; i < kPlanes; ++i) {
        if (layout[i].recorded <= 0 && layout[i].written > 0) {
            picture->data[i] = next;
            next += layout[i].written;
        }
    }
    return true;
}

OmxAVFrame* allocatePicture(int width, int height, const Layout& layout) {
    auto* picture = new (std::nothrow) OmxAVFrame{};
    if (picture && !(fits31Bits(layout) && allocatePlanes(picture, layout))) {
        dealloc_picture(picture);
        LOGE("no memory for a picture of %d x %d", width, height);
    }
    return picture;
}

int64_t pixelsOf(int width, int height) {
    return static_cast<int64_t>(width) * height;
}

}  // namespace

OmxAVFrame* alloc_picture_nv12(int width, int height) {
    const int64_t pixels = pixelsOf(width, height);
    const zem::YuvWalkBytes walk = zem::yuvWalkBytes(width, height);
    const Layout layout = {{pixels, pixels, walk.luma}, {pixels / 2, pixels / 2, walk.chromaPairs}, {}, {}};
    return allocatePicture(width, height, layout);
}

OmxAVFrame* alloc_picture_yuv420(int width, int height) {
    const int64_t pixels = pixelsOf(width, height);
    const zem::YuvWalkBytes walk = zem::yuvWalkBytes(width, height);
    const PlaneSize chroma = {pixels / 4, pixels / 4, walk.chromaPlane};
    const Layout layout = {{pixels, pixels, walk.luma}, chroma, chroma, {}};
    return allocatePicture(width, height, layout);
}

OmxAVFrame* alloc_picture_rgb(int width, int height) {
    const int64_t row = 2 * static_cast<int64_t>(width);
    // Room for whole pairs of rows, the unit in which frames are converted.
    const uint64_t written = width < 1 ? 0 : static_cast<uint64_t>(row) * 2 * zem::walkPasses(height);
    const Layout layout = {{row, 2 * pixelsOf(width, height), written}, {}, {}, {}};
    return allocatePicture(width, height, layout);
}

void dealloc_picture(OmxAVFrame* picture) {
    if (!picture) {
        return;
    }
    for (int i = 0; i < kPlanes; ++i) {
        if (picture->size[i] > 0) {
            delete[] picture->data[i];
        }
        picture->data[i] = nullptr;
        picture->size[i] = 0;
    }
}

int CheckOmxPixelFormat(int format) {
    if (static_cast<unsigned>(format) - 1 < 2) {
        return 1;
    }
    LOGE("CheckOmxPixelFormat(%d) unknown format", format);
    return 0;
}
