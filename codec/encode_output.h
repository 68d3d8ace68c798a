// What happens to an encoder's output: gathered in the codec's buffer, or handed to the session with
// the first units in the order that receivers need.
#pragma once

#include <atomic>

/// Delivery state of GetEncodedData2: 0 nothing seen, 1 codec configuration delivered, 2 second output
/// held back, 3 running. Moved on by the output thread; set to 0 by the encoder's close.
extern std::atomic<int> g_encodedSendCnt;
/// The second output, held back until the third one comes, and its size. Made on the output thread; the
/// encoder's destructor frees it (dropHeldOutput) once the component has stopped.
extern unsigned char* g_firstEncoded;
extern int g_firstEncodedSize;
/// How many further outputs are logged in hex.
extern std::atomic<int> gEncodeOutCnt;

// Output handlers: all run on the component's output thread, with a codecUserData as `user` (null is
// ignored), and return 0.

/// Of the live encoder: gathers, or delivers by g_encodedSendCnt.
int GetEncodedData2(void* handle, void* data, unsigned int size, void* user);
/// Gathers what is smaller than the buffer, delivers the rest at once.
int GetEncodedData3(void* handle, void* data, unsigned int size, void* user);
/// Of an encoder that is opened only for its stream header.
int GetEncodedDataOnly(void* handle, void* data, unsigned int size, void* user);
/// Appends to the gathered output; what does not fit any more is dropped with a log line.
int GetEncodedData(void* handle, void* data, unsigned int size, void* user);
int handleOutputEncoded(void* handle, void* data, unsigned int size, void* unused, void* user);

/// Index of the first start code 00 00 00 01 that begins at index 1 or later, or 0 when there is none.
int GetEncodedDataPos(const unsigned char* data, int size);

namespace zem {

/// Frees the held-back output. Only while no encoder runs.
void dropHeldOutput();

}  // namespace zem
