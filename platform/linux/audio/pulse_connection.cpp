#include "platform/linux/audio/pulse_connection.h"

#include <pulse/error.h>
#include <pulse/introspect.h>

#include <chrono>

namespace zem {
namespace {

using std::chrono::steady_clock;

// A server answers within milliseconds; one that hangs must not hang those who ask.
constexpr std::chrono::seconds kPatience{2};
constexpr int kPollMicros = 100000;

constexpr const char* kDefaultSink = "@DEFAULT_SINK@";
constexpr const char* kDefaultMonitor = "@DEFAULT_MONITOR@";

void keepRate(pa_context* /*context*/, const pa_sink_info* sink, int /*last*/, void* rate) {
    if (sink != nullptr) {
        *static_cast<int32_t*>(rate) = static_cast<int32_t>(sink->sample_spec.rate);
    }
}

}  // namespace

std::unique_ptr<PulseConnection> PulseConnection::open(const char** why) {
    auto connection = std::make_unique<PulseConnection>();
    connection->mLoop.reset(pa_mainloop_new());
    connection->mContext.reset(pa_context_new(pa_mainloop_get_api(connection->mLoop.get()), "zem"));
    pa_context* const context = connection->mContext.get();
    const auto isReady = [context] { return pa_context_get_state(context) == PA_CONTEXT_READY; };
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        !connection->await(isReady)) {
        if (why != nullptr) {
            *why = connection->error();
        }
        return nullptr;
    }
    return connection;
}

// Takes news in until done() answers true. False when the connection fails or patience ends.
template <typename Done>
bool PulseConnection::await(Done done) {
    const auto deadline = steady_clock::now() + kPatience;
    while (!done()) {
        if (steady_clock::now() >= deadline || !PA_CONTEXT_IS_GOOD(pa_context_get_state(mContext.get())) ||
            pa_mainloop_prepare(mLoop.get(), kPollMicros) < 0 || pa_mainloop_poll(mLoop.get()) < 0 ||
            pa_mainloop_dispatch(mLoop.get()) < 0) {
            return false;
        }
    }
    return true;
}

int32_t PulseConnection::defaultSinkRate() {
    int32_t rate = 0;
    const PulseHandle<pa_operation> asking(
        pa_context_get_sink_info_by_name(mContext.get(), kDefaultSink, keepRate, &rate));
    if (asking == nullptr) {
        return 0;
    }
    if (!await([&asking] { return pa_operation_get_state(asking.get()) != PA_OPERATION_RUNNING; })) {
        pa_operation_cancel(asking.get());  // no later answer may meet the local above
    }
    return rate;
}

PulseHandle<pa_stream> PulseConnection::record(int32_t rate) {
    const pa_sample_spec sound{PA_SAMPLE_S16LE, static_cast<uint32_t>(rate), 2};
    PulseHandle<pa_stream> stream(pa_stream_new(mContext.get(), "system audio", &sound, nullptr));
    if (stream == nullptr) {
        return nullptr;
    }
    const auto bytesASecond = static_cast<uint32_t>(pa_bytes_per_second(&sound));
    pa_buffer_attr buffers{};
    // Who does not keep up loses sound rather than hearing it ever later.
    buffers.maxlength = bytesASecond / 2;
    buffers.fragsize = bytesASecond / 100;
    if (pa_stream_connect_record(stream.get(), kDefaultMonitor, &buffers, PA_STREAM_ADJUST_LATENCY) < 0) {
        return nullptr;
    }
    pa_stream* const connecting = stream.get();
    await([connecting] { return pa_stream_get_state(connecting) != PA_STREAM_CREATING; });
    return pa_stream_get_state(connecting) == PA_STREAM_READY ? std::move(stream) : nullptr;
}

bool PulseConnection::iterate(const std::atomic<bool>& stopped) {
    // Preparing forgets an earlier wake(), so the flag is looked at between that and the wait.
    if (pa_mainloop_prepare(mLoop.get(), -1) < 0) {
        return false;
    }
    return stopped || (pa_mainloop_poll(mLoop.get()) >= 0 && pa_mainloop_dispatch(mLoop.get()) >= 0 &&
                       PA_CONTEXT_IS_GOOD(pa_context_get_state(mContext.get())));
}

const char* PulseConnection::error() const {
    return pa_strerror(pa_context_errno(mContext.get()));
}

}  // namespace zem
