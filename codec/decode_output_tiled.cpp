// Pictures in tiles, from which every output is converted anew.
#include <climits>
#include <cstring>
#include <new>

#include "base/log.h"
#include "codec/count_down.h"
#include "codec/decode_output.h"
#include "codec/decoded_size.h"
#include "codec/gathered_output.h"
#include "color/tiled_nv12.h"
#include "context/hand_off.h"

using zem::DecodedSize;

namespace {

constexpr const char* kHandler = "GetDecodedData2";
// Where gathered pictures begin again, whatever the buffer's capacity: its reader counts on that.
constexpr int64_t kWrapAt = 5000000;
// Room that the second buffer has beyond a picture.
constexpr int64_t kMoreWidth = 128;
constexpr int64_t kMoreHeight = 32;

// The tiles hold pairs of pixels and of lines; the conversion's own limits are not the handler's.
bool isConvertible(const DecodedSize& size) {
    return size.width >= 2 && size.height >= 2 && size.width % 2 == 0 && size.height % 2 == 0 &&
           size.isUsable();
}

// Made once, cleared, so that nothing is handed out that nobody wrote. False without memory, and when
// the buffer is that of a smaller picture.
bool makeSecondBuffer(codecUserData& record, const DecodedSize& size, int64_t needed) {
    if (record.secondBuffer == nullptr) {
        const int64_t bytes =
            DecodedSize::kBytesPerPixel * (size.width + kMoreWidth) * (size.height + kMoreHeight);
        if (bytes > INT_MAX) {
            return false;
        }
        record.secondBuffer = new (std::nothrow) unsigned char[static_cast<size_t>(bytes)]();
        record.secondBufferSize = record.secondBuffer != nullptr ? static_cast<int>(bytes) : 0;
    }
    return needed <= record.secondBufferSize;
}

void gatherPicture(codecUserData& record, const DecodedSize& size, int bytes) {
    const int used = record.outputUsed.load();
    const int at = used < 0 || int64_t{used} + bytes >= kWrapAt ? 0 : used;
    if (int64_t{at} + bytes > zem::capacityOf(record)) {
        zem::dropPicture(record, kHandler, "no room to gather the picture", size,
                         static_cast<uint64_t>(bytes));
        return;
    }
    memcpy(record.outputBuffer + at, record.secondBuffer, static_cast<size_t>(bytes));
    record.outputUsed.store(at + bytes);
}

void deliver(codecUserData& record, const DecodedSize& size, int bytes) {
    const int64_t capacity = zem::capacityOf(record);
    if (int64_t{TiledFrameSize(size.width, size.height)} >= capacity) {
        copyBufferForDecoder(record.secondBuffer, bytes);
    } else {
        gatherPicture(record, size, bytes);
    }
}

}  // namespace

int GetDecodedData2(void* handle, void* data, unsigned int length, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    if (record == nullptr || !zem::learnDecodedSize(handle, *record) || length == 0 || data == nullptr) {
        return 0;
    }
    const DecodedSize size = zem::decodedSizeOf(*record);
    const int left = zem::countDown(gDecodeOutCnt);
    if (left >= 0) {
        LOGI("j/dec2/output: size:%d [%d] (w:%d, h:%d, m:%d)", static_cast<int>(length), left, size.width,
             size.height, size.margin);
    }
    if (!isConvertible(size)) {
        return zem::dropPicture(*record, kHandler, "size of the picture is refused", size, length);
    }
    if (length < zem::tiledNv12Bytes(size.width, size.height)) {
        return zem::dropPicture(*record, kHandler, "data is shorter than the picture", size, length);
    }
    const int64_t bytes = DecodedSize::kBytesPerPixel * size.width * size.height;
    if (!makeSecondBuffer(*record, size, bytes)) {
        return zem::dropPicture(*record, kHandler, "no buffer for the picture", size, length);
    }
    const auto width = static_cast<unsigned>(size.width);
    convertNV12Tile(width, static_cast<unsigned>(size.height), data, 0, record->secondBuffer, width * 2);
    delClip();
    deliver(*record, size, static_cast<int>(bytes));
    return 0;
}
