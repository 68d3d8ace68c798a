#include "platform/linux/codecs/avc_port_formats.h"

#include "base/log.h"

namespace zem {

using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::OK;
using android::status_t;

status_t AvcPortFormats::get(void* params, size_t size, OMX_U32 frameRateQ16) const {
    return getOnlyFormat<OMX_VIDEO_PARAM_PORTFORMATTYPE>(params, size, [&](auto* fields) {
        fields->eCompressionFormat = coding(fields->nPortIndex);
        fields->eColorFormat = color(fields->nPortIndex);
        fields->xFramerate = frameRateQ16;
    });
}

status_t AvcPortFormats::compare(const char* what, OMX_U32 wanted, OMX_U32 present) {
    if (wanted == present) {
        return OK;
    }
    LOGE("AVC component: %s %u is refused, this one has %u", what, wanted, present);
    return INVALID_OPERATION;
}

status_t setQcomParameter(OMX_INDEXTYPE index, size_t size) {
    constexpr OMX_U32 kPictureOrder = 0x7F000010;
    constexpr OMX_U32 kFramePacking = 0x7F000002;
    const bool known =
        (wordOf(index) == kPictureOrder && size == 16) || (wordOf(index) == kFramePacking && size == 24);
    return known ? OK : BAD_VALUE;
}

}  // namespace zem
