// Feeding a decoder from a whole H.264 stream in memory: for off-line use, beside the live path.
#pragma once

/// Copies the unit that begins at `stream[*pos]` into `out`, up to the next start code 00 00 00 01. `*pos`
/// moves to that start code, `*found` grows by the unit's length, `*timestamp` (microseconds, wraps) by
/// 100000; returns the length. When `out` is full first (outSize - 1 bytes), returns what it holds, with
/// `*found` 1 if these bytes end in a start code, else 0. At the end of the stream returns 0 and logs:
/// the last unit, behind which no start code stands, is not told from one that goes on.
int readBufferFromH264InputFile3(const unsigned char* stream, int streamSize, int* pos, int* found,
                                 unsigned char* out, int outSize, int* timestamp);

/// Sends the units of `data` one by one, each with its own time, waiting for input buffers without limit
/// but for an error of the component and a request to close the codec. `*consumed` receives the bytes
/// up to the unit that is still to be completed, or could not be sent. Returns 0, the component's error,
/// -1 when the codec is about to be closed, -2 when a unit was refused, or 33 without memory.
int SendDataToDecoder(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp);

/// Sends a whole stream in units, the last one too. Results as SendDataToDecoder.
int omxt_decode_loop(void* handle, const unsigned char* stream, int size, int* timestamp);
