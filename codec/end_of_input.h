// How decoders of either kind are told that their stream ends.
#pragma once

#include "codec/input_semaphore.h"

namespace zem {

/// Sends the end of the stream, waiting at most 3000 ms for an input buffer, also when the codec was asked
/// to close, since closing is what sends it. `function` is the caller's name, for the log. Returns 0; the
/// component's error; -2 when the component refused; 32 when it keeps its buffers.
int sendEndOfInput(void* handle, int timestamp, InputSemaphore& semaphore, const char* function);

}  // namespace zem
