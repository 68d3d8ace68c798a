// An H.264 encoder on libx264: one raw frame in, one whole access unit out, at once.
#pragma once

#include <memory>
#include <vector>

#include "platform/linux/codecs/access_unit.h"
#include "platform/linux/codecs/av_handles.h"
#include "platform/linux/codecs/frame_layout.h"

namespace zem {

enum class H264RateControl {
    Quality,   ///< even quality, the bit rate is only a ceiling
    Variable,  ///< the bit rate on average, one second to even out
    Constant,  ///< the bit rate over any half second
};

enum class H264Profile { Baseline, Main, High };

struct H264Settings {
    EncoderInput input = EncoderInput::Nv12;
    uint32_t width = 0;  // frameSizeIsUsable
    uint32_t height = 0;
    uint32_t frameRateQ16 = 30u << 16;  // frames a second in 16.16 fixed point
    uint32_t bitRate = 0;               // bits a second
    uint32_t keyInterval = 30;          // frames from one key frame to the next, 1 = key frames only
    uint32_t maxNalSize = 0;            // bytes, 0 = one slice a picture
    H264RateControl rateControl = H264RateControl::Constant;
    H264Profile profile = H264Profile::High;
    bool cabac = true;
};

struct EncodedPicture {
    AccessUnit unit;
    bool key = false;
};

/// One open stream. Not thread-safe: one thread at a time.
class H264Encoder {
  public:
    /// Null, and one log line, when the settings are refused. Bit rates and frame rates that no stream can
    /// have are replaced, not refused: usableBitRate, usableFrameRate.
    static std::unique_ptr<H264Encoder> open(const H264Settings& settings);

    /// The stream's configuration: SPS and PPS with 4-byte start codes.
    const std::vector<uint8_t>& configuration() const { return mConfiguration; }

    /// Encodes the frame at `frame`, layout().frameSize bytes that stay the caller's and are not copied
    /// before libx264 takes them; as an IDR picture when `asKey`. The picture's bytes last until the next
    /// call. False, and one log line, when the encoder refuses.
    bool encode(const uint8_t* frame, bool asKey, EncodedPicture* picture);

    /// From the next frame on.
    void setBitRate(uint32_t bitRate);

    const FrameLayout& layout() const { return mLayout; }

  private:
    H264Encoder() = default;
    bool start(const H264Settings& settings);
    bool applyOptions(const H264Settings& settings);
    void applyRate(uint32_t bitRate);
    bool wrapFrame(const uint8_t* frame, bool asKey);

    H264Settings mSettings;
    FrameLayout mLayout{};
    AvContext mContext;
    AvFrame mFrame;    // describes the caller's frame during encode, empty between calls
    AvPacket mPacket;  // the last picture's bytes
    std::vector<uint8_t> mConfiguration;
    int64_t mFrameNumber = 0;
};

/// `bitRate` where a stream of this size and rate can have it, else a rate that suits screen content.
uint32_t usableBitRate(uint32_t bitRate, uint32_t width, uint32_t height, uint32_t frameRateQ16);

/// `frameRateQ16` where it is from 1 to 240 frames a second, else 30.
uint32_t usableFrameRate(uint32_t frameRateQ16);

/// An upper bound of a unit's size in bytes at this picture size, the finest quantisation that is allowed
/// included.
uint32_t largestUnitSize(uint32_t width, uint32_t height);

}  // namespace zem
