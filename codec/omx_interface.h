// The flat driver API: free functions around the component driver's classes, with an untyped handle.
// A handle is the driver object (QcomOmxInterface or a class derived from it) or null; null means that
// there is no component and gives 2 from every function that forwards. Results are those of
// omx/result_codes.h unless said otherwise. None of these functions logs; the classes do.
#pragma once

struct audioEncParams;
struct decoderParams;
struct encoderParams;

/// Called with (handle, user) on a message thread whenever an input buffer comes back.
using OmxInputCallback = int (*)(void* handle, void* user);
/// Called with (handle, data, bytes, user) on the component's output thread for every filled output
/// buffer; `data` is valid only during the call. Must not call back into the component.
using OmxOutputCallback = int (*)(void* handle, void* data, unsigned int size, void* user);

/// Creates an H.264 encoder component and configures its ports; null on failure, which is logged.
/// The result code goes to `result`. Owned by the caller: omx_interface_destroy.
void* encoder_create(int* result, encoderParams* params);

/// Likewise an H.264 decoder component, and sets up its input port for pictures of this size in pixels; 0
/// in either stands for a size that is not known.
void* decoder_create(int* result, int width, int height, decoderParams* params);

/// Likewise an AAC encoder and an AAC decoder component; both take the same parameters. One whose set-up
/// fails gives null with 0 as result.
void* aud_encoder_create(int* result, audioEncParams* params);
void* aud_decoder_create(int* result, audioEncParams* params);

/// Brings the component to Executing and starts its output thread.
int omx_interface_init(void* handle);
/// Ends the stream and frees the buffers; with `flag` the stream is abandoned where it stands.
int omx_interface_deinit(void* handle, bool flag);
/// Deletes the component; its threads have ended and no callback is running when this returns.
/// Returns 0, for a null handle too.
int omx_interface_destroy(void* handle);

/// Both before omx_interface_init. Return 0.
int omx_interface_register_input_callback(void* handle, OmxInputCallback callback, void* user);
int omx_interface_register_output_callback(void* handle, OmxOutputCallback callback, void* user);

/// Of a decoder, before omx_interface_init; see QcomOmxInterfaceDecoder for the formats. The second gives
/// -1 when refused.
int omx_decoder_set_input_packing_format(void* handle, int format);
int omx_decoder_set_input_compression_format(void* handle, int format);

/// Copying way of feeding input, for decoders. Also -1 (no free buffer) and -2 (refused).
int omx_interface_send_input_data(void* handle, void* data, unsigned int size, int timestamp);
int omx_interface_send_end_of_input_flag(void* handle, int timestamp);

/// Zero-copy way of feeding input, for encoders. Reserve: also -1 (none free) and -2 (input ended),
/// both with null in `buffer` and `bufferData`. Send: also -1 (refused).
int omx_interface_reserve_input_buffer(void* handle, void** buffer, void** bufferData);
int omx_interface_send_input_buffer(void* handle, void* buffer, int size, int timestamp);
int omx_interface_send_final_buffer(void* handle, void* buffer, long timestamp);

/// The first error that the component ran into, 0 while there is none.
int omx_interface_error(void* handle);
