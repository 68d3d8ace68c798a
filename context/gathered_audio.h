// Takes what a hardware audio codec has gathered.
#pragma once

#include <memory>

#include "codec/omx_codec_common.h"
#include "context/byte_block.h"

namespace zem {

/// Null when there is nothing, or when memory ran out: then it stays where it is. Taken in one step, since
/// the codec's output thread goes on gathering; the caller delivers with no lock held.
inline std::shared_ptr<const ByteBlock> takeGathered(omxCodecCommon& codec) {
    std::shared_ptr<const ByteBlock> taken;
    codec.omxCodecLock();
    const int size = codec.GetUsedSize();
    if (size > 0 && codec.GetBuffer() != nullptr) {
        taken = ByteBlock::copyOf(codec.GetBuffer(), size);
    }
    if (taken != nullptr) {
        codec.SetUsedSize(0);
    }
    codec.omxCodecUnlock();
    return taken;
}

}  // namespace zem
