#include "platform/linux/codecs/aac_format.h"

#include <algorithm>
#include <iterator>

namespace zem {
namespace {

// In the order of their indices in the configuration.
constexpr uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
constexpr uint32_t kMostChannels = 2;

// Fields of a configuration: 5 bits object type, 4 bits rate index, 4 bits channels, 3 bits that are 0.
constexpr unsigned kLowComplexity = 2;

// What encoders add that tell of spectral band replication, used or not: 0x2B7, object type 5, a flag.
constexpr uint8_t kExtension[] = {0x56, 0xE5};
constexpr size_t kExtensionSize = 3;

}  // namespace

bool aacHasFormat(const AudioFormat& format) {
    return format.channels >= 1 && format.channels <= kMostChannels &&
           std::find(std::begin(kRates), std::end(kRates), format.rate) != std::end(kRates);
}

AacConfiguration configurationOf(const AudioFormat& format) {
    const auto index =
        static_cast<unsigned>(std::find(std::begin(kRates), std::end(kRates), format.rate) - kRates);
    const unsigned bits = kLowComplexity << 11 | index << 7 | format.channels << 3;
    return {static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits)};
}

size_t leadingConfigurationSize(const uint8_t* data, size_t size) {
    const size_t plain = sizeof(AacConfiguration);
    if (size < plain) {
        return 0;
    }
    const unsigned bits = static_cast<unsigned>(data[0]) << 8 | data[1];
    const unsigned index = bits >> 7 & 15;
    const unsigned channels = bits >> 3 & 15;
    if (bits >> 11 != kLowComplexity || index >= std::size(kRates) || channels < 1 ||
        channels > kMostChannels || (bits & 7) != 0) {
        return 0;
    }
    const bool extended = size >= plain + kExtensionSize &&
                          std::equal(std::begin(kExtension), std::end(kExtension), data + plain);
    return extended ? plain + kExtensionSize : plain;
}

}  // namespace zem
