// Drives one hardware H.264 decoder component: creates it, feeds it packets, ends and destroys it.
#pragma once

#include "codec/codec_user_data.h"
#include "codec/omx_interface.h"

/// Fills the record, creates the component and starts it. Returns 1 with the component in `*handle`,
/// or 0 with null there. `ud` must outlive the component.
int omxt_decode_init(void** handle, unsigned char* outBuffer, int outCapacity, codecUserData* ud,
                     OmxOutputCallback outputCallback, const char* componentName, int hardwareBase, int width,
                     int height);

/// Sends one packet whole. When the component holds all input buffers, waits until one comes back, but
/// the packet is lost: its sender has gone on meanwhile. An error of the component or a request to close
/// the codec ends the wait too; nothing else does. `*consumed` receives `size`, `*timestamp` the packet's
/// time in microseconds. Returns 0, -1 (not sent) or -2 (refused).
int SendDataToDecoder2(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp);

/// Sends the end of the stream, waiting at most 3000 ms for an input buffer, also when the codec was asked
/// to close, since closing is what sends it. Returns 0; the component's error; -2 when the component
/// refused; 32 when it keeps its buffers.
int omxt_decode_send_end(void* handle, int timestamp);

/// Ends the component in order, or at once with `flag`, and destroys it. No output handler runs any more
/// when this returns. Returns the component's result, 2 for a null handle.
int omxt_decode_deinit(void* handle, bool flag);

namespace zem {

/// Waits until an input buffer of the component may be free, without limit but for an error of the
/// component and a request to close the codec.
void waitForInputBuffer(void* handle);

}  // namespace zem
