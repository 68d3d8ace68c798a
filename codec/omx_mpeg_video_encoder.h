// The H.264 encoder of the session: takes captured RGB pictures, feeds a hardware component.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "codec/omx_codec_common.h"
#include "codec/omx_interface.h"
#include "codec/video_encoder.h"

class ColorConverter;
struct OmxAVFrame;

/// How many further pictures are logged on their way in.
extern std::atomic<int> gEncodeInCnt;

/// Open, encode, close and the destructor belong to one thread at a time, the session's; setCloseType,
/// setSkipConversion, requestClose and the queries may come from any other while the object lives.
class omxMpegVideoEncoder final : public VideoEncoder, public omxCodecCommon {
  public:
    /// `name` null: the component is detected at open, as the session wants it. With a name, open starts
    /// nothing.
    explicit omxMpegVideoEncoder(const char* name);
    ~omxMpegVideoEncoder() override;

    /// Starts an encoder for pictures of `format` (1 or 2: 32-bit pixels) and the given size. bitrate in
    /// bits a second; gopAndRateControl: GOP size in bits 8 and up, rate control mode in the low 8.
    /// headerOnly: all output goes to copyHeaderForDecoder. Returns 1 (running) or 0. An object starts a
    /// component once in its life.
    int open(int format, int width, int height, int bitrate, int frameRate, int gopAndRateControl,
             bool headerOnly);
    /// Names and starts the component; a null callback is GetEncodedData2. `outBuffer` (outCapacity
    /// bytes, or null and 0) is where a handler gathers; it becomes the record's when a component is
    /// created (array new). 1 or 0.
    int omx_init(unsigned char* outBuffer, int outCapacity, OmxOutputCallback outputCallback);

    int encode(uint8_t* out, int outSize, const uint8_t* in, int inStride) override;
    void setCloseType(bool force) override;
    int getWidth() override;
    int getHeight() override;

    /// Input is ready YUV 4:2:0 (camera frames, width * height * 3 / 2 bytes) from now until the next
    /// open; it is sent unchanged.
    void setSkipConversion(bool skip);
    /// The detected hardware base, 0 while unknown.
    int getHardwareBase() const;

    /// Converts and sends one picture; `*sent` receives the bytes. 0, -1, or -2 when the component
    /// stopped.
    int omx_send_data(const uint8_t* in, int* sent, int inStride);
    void omx_send_final_data();
    int omx_deinit();
    /// Ends the stream (unless skipFinal) and the component; over 3 s when the component answers late.
    /// Any number of times.
    void close(bool skipFinal);

  private:
    void resetForOpen();
    int startDetected(unsigned char* outBuffer, int outCapacity, OmxOutputCallback outputCallback);
    void chooseConversion(int hardwareBase);
    void dropConversion();
    bool makeSendBuffer(int size);
    int fillSendBuffer(const uint8_t* in, int inStride, int frameSize);
    int convertIntoSendBuffer(const uint8_t* in, int inStride);
    int packedPlanes(OmxAVFrame* planes);
    const uint8_t* readableSource(const uint8_t* in, int lineSize);

    std::atomic<int> mWidth{-1};
    std::atomic<int> mHeight{-1};
    std::unique_ptr<ColorConverter> mColorConverter;
    OmxAVFrame* mPicture = nullptr;          // owned; receives the converted picture
    std::unique_ptr<uint8_t[]> mSendBuffer;  // the picture's planes back to back
    int mBitrate = 0;
    void* mReservedBuffer = nullptr;  // the component's; reserved by the last send
    void* mReservedData = nullptr;
    int mTimestamp = 0;  // microseconds, wraps
    int mFrameRate = 0;
    int mGopSize = 0;
    int mRateControl = 0;
    std::atomic<bool> mSkipConversion{false};
    std::unique_ptr<uint8_t[]> mPaddedSource;  // odd sizes only: the picture and room for the overrun
    size_t mPaddedSize = 0;
};

/// Packs the picture's planes back to back into `dest`, whose room is the caller's care; returns the
/// bytes written.
int copyConvColorToBuffer(omxMpegVideoEncoder* encoder, OmxAVFrame* picture, unsigned char* dest, int width,
                          int height);
