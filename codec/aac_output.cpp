#include "codec/aac_output.h"

#include <pthread.h>

#include <climits>
#include <cstdint>

#include "base/log.h"
#include "codec/codec_user_data.h"
#include "codec/gathered_output.h"
#include "codec/omx_codec_common.h"
#include "context/hand_off.h"

namespace {

struct OutputKind {
    int (*handOn)(uint8_t* data, int size);
    const char* handedOn;  // what the log says
    const char* gathered;
};

constexpr OutputKind kUnits = {copyBufferForAudioEncoder, "AUD_ENC:after Encoding",
                               "AUD_ENC:after Encoding(have buffer)"};
constexpr OutputKind kPcm = {copyBufferForAudioDecoder, "AUD_DEC:after Decoding",
                             "AUD_DEC:after Decoding(have buffer)"};

// The session, which enters Java, is called without the record's mutex.
int handleOutput(const OutputKind& kind, void* data, unsigned int length, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    if (record == nullptr || data == nullptr || length == 0) {
        return 0;
    }
    if (length > static_cast<unsigned>(INT_MAX)) {
        LOGE("%s: size %u is refused", kind.handedOn, length);
        return 0;
    }
    auto* const bytes = static_cast<uint8_t*>(data);
    const int size = static_cast<int>(length);
    const bool gathers = zem::capacityOf(*record) > size;
    LOGD("%s: size:%d.", gathers ? kind.gathered : kind.handedOn, size);
    if (!gathers) {
        kind.handOn(bytes, size);
    }
    omxLock(&record->mutex);
    if (gathers) {
        zem::gather(*record, bytes, size);
    }
    record->outputCount++;
    omxSignal(&record->condition);
    omxUnlock(&record->mutex);
    return 0;
}

}  // namespace

int GetAudEncodedData2(void* /*handle*/, void* data, unsigned int size, void* user) {
    return handleOutput(kUnits, data, size, user);
}

int GetAudDecodedData2(void* /*handle*/, void* data, unsigned int size, void* user) {
    return handleOutput(kPcm, data, size, user);
}

int GetAudDecodedData3(void* /*handle*/, void* /*data*/, unsigned int /*size*/, void* /*user*/) {
    return 0;
}
