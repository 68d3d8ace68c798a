// The formats of an H.264 component's ports: each has one.
#pragma once

#include "platform/linux/codecs/parameter_fields.h"

namespace zem {

// Before a client says anything: the smallest common picture.
constexpr uint32_t kDefaultWidth = 176;
constexpr uint32_t kDefaultHeight = 144;

constexpr OMX_U32 kVideoBufferCountMin = 2;
// Clients drop five times a decoder's number of pictures after each change of size: few.
constexpr OMX_U32 kVideoBufferCount = 4;

class AvcPortFormats {
  public:
    AvcPortFormats(OMX_U32 codedPort, OMX_COLOR_FORMATTYPE color) : mCodedPort(codedPort), mColor(color) {}

    OMX_VIDEO_CODINGTYPE coding(OMX_U32 port) const {
        return port == mCodedPort ? OMX_VIDEO_CodingAVC : OMX_VIDEO_CodingUnused;
    }
    OMX_COLOR_FORMATTYPE color(OMX_U32 port) const {
        return port == mCodedPort ? OMX_COLOR_FormatUnused : mColor;
    }
    /// OMX_IndexParamVideoPortFormat.
    android::status_t get(void* params, size_t size, OMX_U32 frameRateQ16) const;
    /// OK when `fields`, a port's definition or format structure, has the format of `port`; else a log line.
    /// What the other kind of port has is not looked at: clients write their picture's format to both.
    template <typename T>
    android::status_t check(OMX_U32 port, const T& fields) const {
        return port == mCodedPort ? compare("coding", wordOf(fields.eCompressionFormat), OMX_VIDEO_CodingAVC)
                                  : compare("colour format", wordOf(fields.eColorFormat), wordOf(mColor));
    }

  private:
    static android::status_t compare(const char* what, OMX_U32 wanted, OMX_U32 present);

    const OMX_U32 mCodedPort;
    const OMX_COLOR_FORMATTYPE mColor;
};

/// Picture order and frame packing: decoder settings that the Qualcomm encoders accept, too, and that nothing
/// here has a use for: pictures come out as they came, in one packing. `params` has `size` bytes.
android::status_t setQcomParameter(OMX_INDEXTYPE index, size_t size);

}  // namespace zem
