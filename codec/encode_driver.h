// Drives one hardware H.264 encoder component: creates it, feeds it frames, ends and destroys it.
#pragma once

#include "codec/codec_user_data.h"
#include "codec/omx_interface.h"

/// Fills the record, creates the component and starts it. Returns 1 with the component in `*handle`,
/// or 0 with null there. `ud` must outlive the component.
int omxt_encode_init(void** handle, codecUserData* ud, unsigned char* outBuffer, int outCapacity, int width,
                     int height, int frameRate, int rateControl, int bitrate, int gop,
                     OmxOutputCallback outputCallback, const char* componentName, int hardwareBase);

/// Sends one YUV 4:2:0 frame (width * height * 3 / 2 bytes, planes back to back, of the frameSize bytes
/// at `frame`) in a free input buffer, for which it waits up to 3000 ms. `*timestamp` (microseconds)
/// advances by one frame; `*sentSize` receives the bytes sent. `*buffer` and `*bufferData` receive the
/// reserved buffer. Returns 0; 32 when the component stopped answering; 33 when the frame was not sent;
/// else the component's error.
int SendDataToEncoder(void* handle, unsigned char* frame, int frameSize, void** buffer, void** bufferData,
                      int* timestamp, int width, int height, int frameRate, int* sentSize, int hardwareBase);

/// Sends frameCount frames that lie back to back in the totalSize bytes at `frames`; ends at the first
/// result that is not 0 and returns it.
int omxt_encode_loop(void* handle, unsigned char* frames, int totalSize, int frameCount, void** buffer,
                     void** bufferData, int* timestamp, int width, int height, int frameRate);

/// Sends the end-of-stream buffer. Returns the component's error, 0 for none.
int omxt_encode_send_final_data(void* handle, void* buffer, int timestamp);

/// Ends and destroys the component: in order, at once with `flag`, or with `force` by only ending its
/// output thread. No output handler runs any more when this returns. Returns the component's result, 32
/// for a forced end or a null handle.
int omxt_encode_deinit(void* handle, bool flag, bool force);

/// The size that the component is configured for: of a decoder that of its output; 0 for a null handle.
int GetEncodeWidth(void* handle);
int GetEncodeHeight(void* handle);

namespace zem {

/// True while a submitted input buffer has not come back; false for a null handle.
bool inputIsPending(void* handle);

}  // namespace zem
