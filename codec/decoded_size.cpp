#include "codec/decoded_size.h"

#include <climits>

#include "base/log.h"
#include "codec/encode_driver.h"
#include "omx/hardware_base.h"

namespace zem {

bool DecodedSize::isUsable() const {
    return width >= 1 && height >= 1 && margin >= 0 && remainder >= 0 && outputWidth() >= 1 &&
           kBytesPerPixel * (int64_t{width} + remainder) * height <= INT_MAX;
}

bool hasPaddedRows(int hardwareBase) {
    return hardwareBase == HW_BASE_QCOM_8974 || hardwareBase == HW_BASE_QCOM_8X26;
}

int strideRemainderOf(int hardwareBase, int width) {
    constexpr int kStrideUnit = 64;
    return hasPaddedRows(hardwareBase) && width > 0 ? width % kStrideUnit : 0;
}

bool learnDecodedSize(void* handle, codecUserData& record) {
    if (record.width.load() > 0 && record.height.load() > 0) {
        return true;
    }
    const int width = GetEncodeWidth(handle);
    const int height = GetEncodeHeight(handle);
    if (width <= 0 || height <= 0) {
        return false;
    }
    record.strideRemainder.store(strideRemainderOf(record.hardwareBase.load(), width));
    record.width.store(width);
    record.height.store(height);
    return true;
}

DecodedSize decodedSizeOf(const codecUserData& record) {
    return {record.width.load(), record.height.load(), record.cropMargin.load(),
            record.strideRemainder.load()};
}

int dropPicture(codecUserData& record, const char* handler, const char* why, const DecodedSize& size,
                uint64_t given) {
    if (record.dropReason == why && record.dropWidth == size.width && record.dropHeight == size.height) {
        return 0;
    }
    record.dropReason = why;
    record.dropWidth = size.width;
    record.dropHeight = size.height;
    LOGE("%s : %s (w:%d, h:%d, %llu bytes)", handler, why, size.width, size.height,
         static_cast<unsigned long long>(given));
    return 0;
}

}  // namespace zem
