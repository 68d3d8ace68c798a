#include "platform/linux/codecs/frame_layout.h"

namespace zem {
namespace {

// The Qualcomm encoders read the chroma plane from the next 2 KiB boundary.
constexpr uint32_t kChromaAlignment = 2048;

bool sideIsUsable(uint32_t side) {
    return side >= kMinFrameSide && side <= kMaxFrameSide && side % 2 == 0;
}

}  // namespace

FrameLayout frameLayoutOf(EncoderInput input, uint32_t width, uint32_t height) {
    FrameLayout layout{};
    layout.lumaSize = width * height;
    layout.chromaOffset = layout.lumaSize;
    layout.chromaRowLength = width;
    switch (input) {
        case EncoderInput::Nv12ChromaAt2048:
            layout.chromaOffset = roundedUp(layout.lumaSize, kChromaAlignment);
            break;
        case EncoderInput::Nv12:
            break;
        case EncoderInput::I420:
            layout.crOffset = layout.chromaOffset + layout.lumaSize / 4;
            layout.chromaRowLength = width / 2;
            break;
    }
    layout.frameSize = layout.chromaOffset + layout.lumaSize / 2;
    return layout;
}

bool frameSizeIsUsable(uint32_t width, uint32_t height) {
    return sideIsUsable(width) && sideIsUsable(height);
}

}  // namespace zem
