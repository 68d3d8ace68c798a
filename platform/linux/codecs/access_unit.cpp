#include "platform/linux/codecs/access_unit.h"

#include <cstring>

namespace zem {
namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
constexpr uint8_t kNalTypeMask = 0x1F;
constexpr uint8_t kNalTypeSei = 6;

// The byte behind the next 00 00 01 at or after `at`, or `end`.
const uint8_t* nextNal(const uint8_t* at, const uint8_t* end) {
    for (; end - at >= 3; at++) {
        if (at[0] == 0 && at[1] == 0 && at[2] == 1) {
            return at + 3;
        }
    }
    return end;
}

}  // namespace

AccessUnit::AccessUnit(const uint8_t* data, size_t size) {
    const uint8_t* const end = data + size;
    const uint8_t* nal = nextNal(data, end);
    while (nal != end && (*nal & kNalTypeMask) == kNalTypeSei) {
        nal = nextNal(nal, end);
    }
    mBody = nal;
    mBodySize = static_cast<size_t>(end - nal);
}

void AccessUnit::copyTo(uint8_t* destination) const {
    if (mBodySize == 0) {
        return;
    }
    memcpy(destination, kStartCode, kStartCodeSize);
    memcpy(destination + kStartCodeSize, mBody, mBodySize);
}

}  // namespace zem
