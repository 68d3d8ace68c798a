// The chips that the Linux platform can pass for: component names, pixel layouts, identification files.
#pragma once

#include <cstddef>

namespace zem {

/// What a hardware encoder wants in its input buffer, rows packed to the frame's width.
enum class EncoderInput {
    Nv12ChromaAt2048,  ///< NV12, the chroma plane at the next multiple of 2048 after the w * h luma bytes
    Nv12,              ///< NV12, the chroma plane directly behind the luma
    I420,              ///< three planes, directly behind each other
};

/// What a hardware decoder leaves in its output buffer.
enum class DecoderOutput {
    Nv12RowsOf64,  ///< NV12, rows of w + w mod 64 bytes, (w + w mod 64) * h * 3 / 2 bytes in all
    Nv12Tiles,     ///< NV12 in tiles of 64x32 bytes, ordered in zigzags of two tile rows
    I420,          ///< three planes, directly behind each other
};

enum class ComponentRole { AvcEncoder, AvcDecoder };

/// One component of the chip. Software ones stand for the fallbacks that every device also lists; they take
/// and give I420 whatever the chip is.
struct ChipComponent {
    const char* name;
    ComponentRole role;
    bool hardware;
};

struct ChipProfile {
    const char* name;
    EncoderInput encoderInput;        // of the hardware encoder
    DecoderOutput decoderOutput;      // of the hardware decoder
    bool vendorIndices;               // components know the Qualcomm extension indices
    const char* buildId;              // content of the system-on-chip build id; null: there is no such file
    const char* cpuInfo;              // content of /proc/cpuinfo
    const ChipComponent* components;  // in the order in which the device lists them
    size_t componentCount;

    const ChipComponent* begin() const { return components; }
    const ChipComponent* end() const { return components + componentCount; }
};

/// The profile of this name; "qcom", the default, for null, an empty name and, with one log line that names
/// the known ones, for any other.
const ChipProfile& chipProfileOrDefault(const char* name);

/// The profile in force: the one that the environment variable ZEM_CHIP_PROFILE names when this is first
/// asked. Any thread.
const ChipProfile& currentChipProfile();

/// Puts another profile in force, for tests; nodes and streams that are open keep theirs. False, and no
/// change, for an unknown name. Any thread.
bool setChipProfile(const char* name);

/// The input layout that `component` takes on `profile`.
EncoderInput encoderInputOf(const ChipProfile& profile, const ChipComponent& component);

/// The output layout that `component` gives on `profile`.
DecoderOutput decoderOutputOf(const ChipProfile& profile, const ChipComponent& component);

}  // namespace zem
