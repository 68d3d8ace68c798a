// What an AAC stream carries, and the configuration (AudioSpecificConfig) that says so.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zem {

/// Of PCM in signed 16-bit samples, the channels interleaved.
struct AudioFormat {
    uint32_t rate;  // samples a second of each channel
    uint32_t channels;

    bool operator==(const AudioFormat& other) const {
        return rate == other.rate && channels == other.channels;
    }
    size_t bytesPerSample() const { return channels * sizeof(int16_t); }  // of all channels
    /// `time` (microseconds, any client's: the sum may wrap) and the duration of `samples` of each channel.
    int64_t timeAfter(int64_t time, int64_t samples) const {
        return static_cast<int64_t>(static_cast<uint64_t>(time) +
                                    static_cast<uint64_t>(samples * 1000000 / rate));
    }
};

/// Samples of each channel in one unit of a low-complexity stream.
constexpr size_t kSamplesPerUnit = 1024;
/// The most bytes that one unit can have for each channel: the bit reservoir of ISO/IEC 14496-3.
constexpr size_t kLargestUnitPerChannel = 768;

/// Mono or stereo, at one of the 13 rates that a configuration has an index for.
bool aacHasFormat(const AudioFormat& format);

using AacConfiguration = std::array<uint8_t, 2>;

/// Low complexity, units of 1024 samples. `format` is one that AAC has.
AacConfiguration configurationOf(const AudioFormat& format);

/// Bytes of the low-complexity configuration that `data` begins with, 0 when there is none. Raw units have no
/// mark; those of mono and stereo encoders number their elements from 0 and so never begin like it.
size_t leadingConfigurationSize(const uint8_t* data, size_t size);

}  // namespace zem
