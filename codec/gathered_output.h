// Output that is gathered in a codec's own buffer until its owner takes it.
#pragma once

#include <cstdint>
#include <cstring>

#include "codec/codec_user_data.h"

namespace zem {

/// Bytes that the record can gather; 0 when output is delivered onward.
inline int capacityOf(const codecUserData& record) {
    return record.outputBuffer != nullptr ? record.outputCapacity : 0;
}

/// For outputs smaller than the capacity. What was gathered before is overwritten when the buffer would
/// be reached or passed: the reader takes all or loses all.
inline void gather(codecUserData& record, const uint8_t* bytes, int size) {
    int used = record.outputUsed.load();
    if (used < 0 || used >= record.outputCapacity - size) {
        used = 0;
    }
    memcpy(record.outputBuffer + used, bytes, static_cast<size_t>(size));
    record.outputUsed.store(used + size);
}

}  // namespace zem
