// A connection to the sound server that PULSE_SERVER names, or the session's own.
#pragma once

#include <pulse/context.h>
#include <pulse/mainloop.h>
#include <pulse/operation.h>
#include <pulse/stream.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace zem {

struct PulseRelease {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
    void operator()(pa_operation* operation) const { pa_operation_unref(operation); }
    void operator()(pa_context* context) const {
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    void operator()(pa_stream* stream) const {
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
};
template <typename T>
using PulseHandle = std::unique_ptr<T, PulseRelease>;

/// Used by one thread at a time; only wake() may come from another.
class PulseConnection {
  public:
    /// Connects to a server that runs; none is started. Null when there is none, or none that answers soon;
    /// `why`, which may be null, then tells the reason.
    static std::unique_ptr<PulseConnection> open(const char** why);

    /// Samples a second of the sink that plays what the user hears, or 0.
    int32_t defaultSinkRate();
    /// A stream of the default sink's monitor: signed 16-bit stereo at `rate`, in pieces of about 10 ms. Null
    /// when the server refuses.
    PulseHandle<pa_stream> record(int32_t rate);
    /// Waits for news of the server and takes them in; without a wait once `stopped` is true. Who sets it
    /// calls wake() after. False when the connection is lost.
    bool iterate(const std::atomic<bool>& stopped);
    void wake() { pa_mainloop_wakeup(mLoop.get()); }
    /// Of the last failure.
    const char* error() const;

  private:
    template <typename Done>
    bool await(Done done);

    PulseHandle<pa_mainloop> mLoop;
    PulseHandle<pa_context> mContext;
};

}  // namespace zem
