// One of libavcodec's decoders: coded bytes in, frames out.
#pragma once

#include <functional>

#include "platform/linux/codecs/av_handles.h"

namespace zem {

/// Nothing that a stream holds is an error: what is damaged is logged, the first of a row only, and gives no
/// frame. Not thread-safe: one thread at a time.
class AvDecoder {
  public:
    /// `name`: libavcodec's, of static life.
    explicit AvDecoder(const char* name) : mName(name) {}

    /// Opens, or opens anew, with what `configure` sets. False, one log line and no change when libavcodec
    /// refuses.
    bool open(const std::function<void(AVCodecContext*)>& configure);

    /// Takes a whole packet; to be called when receive() has given all of the last one. Any bytes do no harm,
    /// 0 of them do nothing. libavcodec's answer.
    int send(const uint8_t* bytes, size_t size, int64_t timestamp);
    /// Logs a packet that libavcodec has refused, unless the last one was refused, too.
    void note(int result);
    /// The next frame, until the next call; null when the decoder wants more.
    const AVFrame* receive();
    /// The stream ends here: receive() gives what is left, then null. send() begins another.
    void drain();
    /// Forgets what was sent.
    void flush();

  private:
    const char* const mName;
    AvContext mContext;
    AvFrame mFrame;
    AvPacket mPacket;  // empty between calls
    bool mDraining = false;
    bool mDamaged = false;  // the last packet was
};

}  // namespace zem
