// The Vorbis decoder under any bytes: raw ones, and ones in pages with a right checksum, which random bytes
// never have.
#include <cstring>
#include <vector>

#include "audio/vorbis_decoder.h"
#include "tests/support/log_capture.h"

namespace {

/// One page of one packet, at most 254 bytes, with a right checksum.
std::vector<uint8_t> pageOf(const uint8_t* data, size_t size, uint8_t number, uint8_t flags) {
    std::vector<uint8_t> bytes{'O', 'g', 'g', 'S', 0,    flags, 0,    0, 0,     0,
                               0,   0,   0,   0,   0x4E, 0x61,  0xBC, 0, number};
    bytes.resize(26);
    bytes.insert(bytes.end(), {1, static_cast<uint8_t>(size)});
    bytes.insert(bytes.end(), data, data + size);
    ogg_page page{bytes.data(), 28, bytes.data() + 28, static_cast<long>(size)};
    ogg_page_checksum_set(&page);
    return bytes;
}

}  // namespace

// The first byte chooses the set-up; then records of a kind, a length, a room for PCM and that many bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    VorbisDecoder decoder;
    const bool hasHeaders = size > 0 && (data[0] & 1) != 0;
    if (size == 0 || (!hasHeaders && decoder.init(1 + (data[0] >> 1) % 3, 44100, 0) != 1)) {
        return 0;
    }
    uint8_t number = 0;
    for (size_t at = 1; at + 3 < size;) {
        const uint8_t kind = data[at];
        const size_t length = std::min<size_t>(data[at + 1], size - at - 3);
        std::vector<uint8_t> bytes(data + at + 3, data + at + 3 + length);
        if ((kind & 8) == 0) {
            bytes = pageOf(data + at + 3, std::min<size_t>(length, 254), number++, kind & 7);
        }
        decoder.decode(bytes.data(), static_cast<int>(bytes.size()));
        if (hasHeaders && (kind & 16) != 0) {
            decoder.decodeHeader();
        }
        std::vector<uint8_t> room(data[at + 2] * 64);
        decoder.getData(room.data(), static_cast<int>(room.size()));
        at += 3 + length;
    }
    zem::test::forgetLog();
    return 0;
}
