// The one bitmap there is, of 6 x 4 pixels in rows of 32 bytes, behind the platform's bitmap functions.
#pragma once

#include <android/bitmap.h>

#include <vector>

namespace zem::test {

struct FakeBitmap {
    int infoResult = 0;
    int lockResult = 0;
    int locks = 0;  // not yet unlocked
    std::vector<uint8_t> pixels = std::vector<uint8_t>(4 * 32);
};
extern FakeBitmap gBitmap;

}  // namespace zem::test
