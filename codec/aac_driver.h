// Drives one hardware AAC component, encoder or decoder: creates it, feeds it, ends and destroys it.
#pragma once

#include "codec/codec_user_data.h"
#include "codec/omx_interface.h"

/// Fill the record, create the component and start it. Return 0 with the component in `*handle`, or a
/// result code with null there. `ud` and `name` must outlive the component. `bitrate` in bits a second.
int omxt_aud_encode_init(void** handle, codecUserData* ud, unsigned char* buf, int capacity, int channels,
                         int bitrate, int samplingRate, int bitsPerSample, OmxOutputCallback outputCallback,
                         const char* name);
int omxt_aud_decode_init(void** handle, codecUserData* ud, unsigned char* buf, int capacity, int channels,
                         int bitsPerSample, int samplingRate, OmxOutputCallback outputCallback,
                         const char* name);

/// Sends `size` bytes of PCM in a free input buffer, for which it waits; only an error of the component
/// or a request to close the codec ends that wait. `*timestamp` (microseconds) advances by 1/`rate` s, by
/// 100 ms when that is 0. `*sent` receives the bytes sent, `*buffer` and `*bufferData` the reserved
/// buffer, null when there was none. Returns 0; 33 when nothing was sent; else the component's error.
int SendAudDataToEncoder(void* handle, const unsigned char* pcm, int size, void** buffer, void** bufferData,
                         int* timestamp, int rate, int* sent);

/// Sends AAC whole. When the component holds all input buffers, waits as SendDataToDecoder2 does, and
/// what was to be sent is lost. `*consumed` receives `size`, `*timestamp` the time of all inputs in
/// microseconds. Returns the component's error, 0 for none.
int SendDataToAudDecoder(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp);

/// Sends the end of the stream, waiting at most 3000 ms for an input buffer. Returns as
/// omxt_decode_send_end.
int omxt_aud_decode_send_end(void* handle, int timestamp);

/// Ends an encoder or a decoder in order, or at once with `flag`, and destroys it. No output handler runs
/// any more when this returns. Returns the component's result, 2 for a null handle.
int omxt_aud_decode_deinit(void* handle, bool flag);
