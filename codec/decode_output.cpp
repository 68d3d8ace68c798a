// Linear pictures, all through one converter into one picture.
#include "codec/decode_output.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

#include "base/log.h"
#include "codec/count_down.h"
#include "codec/decoded_size.h"
#include "codec/gathered_output.h"
#include "color/color_converter.h"
#include "color/omx_av_frame.h"
#include "color/picture_size.h"
#include "color/yuv_to_rgb.h"
#include "context/hand_off.h"

using zem::DecodedSize;

std::atomic<int> gDecodeOutCnt{0};
std::shared_ptr<ColorConverter>& gConverterForDecoder = *new std::shared_ptr<ColorConverter>;
std::shared_ptr<OmxAVFrame>& gConvBuffForDecoder = *new std::shared_ptr<OmxAVFrame>;

namespace {

constexpr const char* kHandler = "GetDecodedData3";

// What the kept converter and picture were made for.
struct KeptSize {
    bool padded;  // the converter takes NV12, else planes
    int width;    // pixels that the converter reads and writes
    int height;
    int64_t pictureBytes;
};

std::mutex gKeptLock;  // guards the converter's and the picture's pointers, and gKept
KeptSize gKept{};

// References to the kept pair, for the length of one output.
struct Conversion {
    std::shared_ptr<ColorConverter> converter;
    std::shared_ptr<OmxAVFrame> picture;
    KeptSize size;
};

// Where the planes of a picture lie in its data, and how far the kept converter reads there; bytes.
struct SourceLayout {
    uint64_t offset[3];
    int stride[3];
    uint64_t needed;
};

SourceLayout paddedLayout(const DecodedSize& size, const KeptSize& kept) {
    const int stride = size.width + size.remainder;
    const uint64_t luma = static_cast<uint64_t>(stride) * static_cast<uint64_t>(size.height);
    const uint64_t lumaEnd = zem::planeBytes(kept.height, stride, kept.width);
    const uint64_t chromaEnd =
        luma + zem::planeBytes(zem::chromaRowsOf(kept.height), stride, kept.width / 2 * 2);
    return {{0, luma, 0}, {stride, stride, 0}, std::max({lumaEnd, chromaEnd, luma * 3 / 2})};
}

SourceLayout planarLayout(const DecodedSize& size, const KeptSize& kept) {
    const uint64_t luma = static_cast<uint64_t>(size.width) * static_cast<uint64_t>(size.height);
    const uint64_t second = luma + luma / 4;
    const int half = size.width / 2;
    const uint64_t lumaEnd = zem::planeBytes(kept.height, size.width, kept.width);
    const uint64_t chromaEnd = second + zem::planeBytes(zem::chromaRowsOf(kept.height), half, kept.width / 2);
    return {{0, luma, second}, {size.width, half, half}, std::max({lumaEnd, chromaEnd, luma * 3 / 2})};
}

// A null record or one without planes where memory ran out.
void makeConversion(const DecodedSize& size, bool padded) {
    const int width = padded ? size.outputWidth() : size.width;
    gKept = {padded, width, size.height, size.outputBytes()};
    gConvBuffForDecoder = std::shared_ptr<OmxAVFrame>(alloc_picture_rgb(size.outputWidth(), size.height),
                                                      [](OmxAVFrame* picture) {
                                                          dealloc_picture(picture);
                                                          delete picture;
                                                      });
    if (gConvBuffForDecoder != nullptr && gConvBuffForDecoder->data[0] != nullptr) {
        // A converter leaves the last column of an odd width as it is.
        memset(gConvBuffForDecoder->data[0], 0, static_cast<size_t>(gKept.pictureBytes));
    }
    if (padded) {
        gConverterForDecoder.reset(new (std::nothrow) Nv12ToRgb565(width, size.height));
    } else {
        gConverterForDecoder.reset(new (std::nothrow) Yuv420ToRgb565(width, size.height));
    }
}

Conversion keptConversion(const DecodedSize& size, bool padded) {
    const std::lock_guard<std::mutex> lock(gKeptLock);
    if (gConverterForDecoder == nullptr || gConvBuffForDecoder == nullptr) {
        makeConversion(size, padded);
    }
    return {gConverterForDecoder, gConvBuffForDecoder, gKept};
}

// Whether this output may go through the kept pair: the converter stays inside the kept picture, and
// what is handed on does so too.
bool fits(const DecodedSize& size, bool padded, const Conversion& kept) {
    if (kept.converter == nullptr || kept.picture == nullptr || kept.picture->data[0] == nullptr ||
        kept.size.padded != padded) {
        return false;
    }
    const int rowBytes = static_cast<int>(DecodedSize::kBytesPerPixel) * kept.size.width;
    const uint64_t written = zem::planeBytes(kept.size.height, kept.picture->size[0], rowBytes);
    return written <= static_cast<uint64_t>(kept.size.pictureBytes) &&
           size.outputBytes() <= kept.size.pictureBytes;
}

// The chroma planes go in as the component gives them, Cb first, although the converters take the first
// for Cr: they also put blue into the high bits, and the two swaps cancel out.
void convert(const Conversion& kept, const SourceLayout& layout, const uint8_t* data) {
    const uint8_t* source[3] = {data + layout.offset[0], data + layout.offset[1], data + layout.offset[2]};
    int sourceStrides[3] = {layout.stride[0], layout.stride[1], layout.stride[2]};
    int targetStrides[1] = {kept.picture->size[0]};
    kept.converter->convert(kept.picture->data, targetStrides, source, sourceStrides);
}

void deliver(codecUserData& record, uint8_t* pixels, int bytes) {
    if (zem::capacityOf(record) <= bytes) {
        copyBufferForDecoder(pixels, bytes);
    } else {
        zem::gather(record, pixels, bytes);
    }
}

void logPicture(const DecodedSize& size, unsigned int length) {
    const int left = zem::countDown(gDecodeOutCnt);
    if (left >= 0) {
        LOGI("j/dec3/output: size:%d [%d] (w:%d, h:%d, m:%d)", static_cast<int>(length), left, size.width,
             size.height, size.margin);
    }
}

}  // namespace

int GetDecodedData3(void* handle, void* data, unsigned int length, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    if (record == nullptr || !zem::learnDecodedSize(handle, *record) || length == 0 || data == nullptr) {
        return 0;
    }
    const DecodedSize size = zem::decodedSizeOf(*record);
    if (!size.isUsable()) {
        return zem::dropPicture(*record, kHandler, "size of the picture is refused", size, length);
    }
    if (length < static_cast<uint64_t>(size.width) * static_cast<uint64_t>(size.height) * 3 / 2) {
        return zem::dropPicture(*record, kHandler, "data is shorter than the picture", size, length);
    }
    logPicture(size, length);
    const bool padded = zem::hasPaddedRows(record->hardwareBase.load());
    const Conversion kept = keptConversion(size, padded);
    if (!fits(size, padded, kept)) {
        return zem::dropPicture(*record, kHandler, "picture does not fit the first one's", size, length);
    }
    const SourceLayout layout = padded ? paddedLayout(size, kept.size) : planarLayout(size, kept.size);
    if (length < layout.needed) {
        return zem::dropPicture(*record, kHandler, "data is shorter than what is converted", size, length);
    }
    convert(kept, layout, static_cast<const uint8_t*>(data));
    deliver(*record, kept.picture->data[0], static_cast<int>(size.outputBytes()));
    return 0;
}

namespace zem {

void dropDecodedPicture() {
    const std::lock_guard<std::mutex> lock(gKeptLock);
    gConverterForDecoder.reset();
    gConvBuffForDecoder.reset();
}

}  // namespace zem
