// Parameters of the Qualcomm components' own, laid out as their vendor has them.
#pragma once

#include <OMX_Core.h>

namespace zem {

constexpr OMX_U32 kQcomIndexPictureOrder = 0x7F000010;
constexpr OMX_U32 kQcomIndexFramePacking = 0x7F000002;

/// Order in which a decoder gives its pictures.
struct QcomPictureOrder {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 eOutputPictureOrder;  // 1 display order, 2 decoding order
};
static_assert(sizeof(QcomPictureOrder) == 16);

/// How the packets that a decoder is fed are cut.
struct QcomFramePacking {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 reserved[2];
    OMX_U32 eFramePackingFormat;  // 0 unspecified, 1 one whole picture each, 3 anywhere
};
static_assert(sizeof(QcomFramePacking) == 24);

}  // namespace zem
