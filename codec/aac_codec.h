// What the AAC encoder and the AAC decoder of the session share.
#pragma once

#include "codec/omx_codec_common.h"

namespace zem {

/// A call sends one buffer and then waits for an output, which the component's output thread
/// gathers in the record. The output thread holds the component's queue while it takes the record's
/// mutex, and the message thread waits for that queue: so no call holds the mutex while it talks to the
/// component or waits for an input buffer. Outputs are counted instead, so that one that comes
/// meanwhile still ends the wait.
class AacCodec : public omxCodecCommon {
  public:
    /// Ends the stream and the component; over 3 s when the component answers late. Any number of
    /// times.
    void close();
    /// Ends the component, in order or at once, as the end of the stream that was or was not sent before
    /// asks for.
    int omx_deinit();
    /// Sends the end of the stream, if there was any.
    virtual void omx_send_final_data() = 0;

  protected:
    /// `name` null: `usualName`.
    AacCodec(const char* name, const char* usualName);
    ~AacCodec() = default;

    /// Ends a component that still runs and clears what the last one left. False without a record, or
    /// without memory for a buffer of `capacity` bytes, which is allocated once.
    bool prepare(int capacity);
    /// Outputs of the component so far; wraps.
    unsigned outputCount();
    /// Waits up to 500 ms for an output after the first `before` ones. False when none came, or when the
    /// codec is about to be closed.
    bool waitForOutput(unsigned before);
    /// Copies the gathered bytes and empties the buffer, if they fit `max`; else 0, and they stay.
    int readGathered(unsigned char* out, int max);
    /// Whether there is no component, or one that has failed: nothing can be sent any more.
    bool componentIsGone() const;
    /// What init owes its caller when the component could not be started.
    void logStart(const char* function, int result) const;

    void* mReservedBuffer = nullptr;  // the component's; reserved by the last send
    void* mReservedData = nullptr;
    int mTimestamp = 0;  // microseconds, wraps; 0 before the first send
};

}  // namespace zem
