// The H.264 decoder of the session: takes received packets, feeds a hardware component.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "codec/omx_codec_common.h"
#include "codec/video_decoder.h"

/// How many further packets are logged on their way in.
extern std::atomic<int> gDecodeInCnt;

/// Open, decode, close and the destructor belong to one thread at a time, the session's; requestClose
/// and the queries may come from any other while the object lives. One decoder at a time delivers
/// pictures: the converter and the picture that they pass through are the process's.
class omxMpegVideoDecoder : public VideoDecoder, public omxCodecCommon {
  public:
    /// `name` null: the component is detected at the first open, as the session wants it. With a name,
    /// whose chip is not known, open starts nothing.
    explicit omxMpegVideoDecoder(const char* name);
    /// Ends the component as close(true) does; drops the process's converter and picture.
    ~omxMpegVideoDecoder() override;

    /// Starts a decoder for pictures of this size, in pixels; 0 in either: not known yet. On some chips
    /// the size is learnt from the component in any case. Returns 1 (running) or 0. May be called again
    /// after close(): the component's name, the converter and the picture of the first time are kept.
    int open(int width, int height);
    /// Names and starts the component. `outBuffer` (outCapacity bytes, or null and 0) is where pictures
    /// are gathered; it becomes the record's (array new). 1 or 0.
    int omx_init(unsigned char* outBuffer, int outCapacity, int width, int height);

    /// Sends one packet whole and paces the caller by 30 ms. Waits without limit while the component
    /// holds all input buffers, save that requestClose() or an error of the component ends the wait; a
    /// packet that had to wait is not sent. Returns 0, or -1 when it was not sent.
    int decode(uint8_t* data, int size) override;
    /// Not supported: pictures reach Java through the session's sink only. Always -1.
    int getBitmap(AndroidBitmapInfo* info, uint8_t* pixels) override;
    /// The size of the pictures; 0 until it is known.
    int getWidth() override;
    int getHeight() override;

    /// Sends `size` bytes; `*consumed` receives how many were taken. 0, -1 (not sent) or -2 (refused).
    int omx_send_data(const unsigned char* data, int size, int* consumed);
    void omx_send_final_data();
    int omx_deinit();
    /// Ends the stream (unless skipFinal) and the component; over 3 s when the component answers late.
    /// Any number of times.
    void close(bool skipFinal);

  protected:
    /// The very first packet of the process, in the decoder that was given it: for dumps of a stream's
    /// start.
    std::unique_ptr<uint8_t[]> mFirstStreamBuffer;
    int mFirstStreamSize = 0;

  private:
    void resetForOpen();
    bool nameComponent();
    void keepFirstBuffer(const uint8_t* data, int size);
    bool sendCounted(const uint8_t* data, int size);
    bool sendToComponent(const uint8_t* data, int size);
    void waitWhileBusy();

    int mTimestamp = 0;    // microseconds: of the last packet sent, 0 before the first
    int mFailedSends = 0;  // in a row
};
