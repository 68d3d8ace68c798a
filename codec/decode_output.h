// What happens to a decoder's pictures: converted to RGB565, then gathered in the codec's buffer or
// handed to the session.
#pragma once

#include <atomic>
#include <memory>

class ColorConverter;
struct OmxAVFrame;

/// How many further pictures are logged on their way out.
extern std::atomic<int> gDecodeOutCnt;

/// The converter of the linear pictures and what it converts into. Made at the first output and kept
/// for all later ones, whatever size these have, until a decoder is destroyed: a decoder that is only
/// closed goes on with them. An output thread makes them, a destructor drops them; each thread that uses
/// them holds references of its own. Never destroyed at the end of the process.
extern std::shared_ptr<ColorConverter>& gConverterForDecoder;
extern std::shared_ptr<OmxAVFrame>& gConvBuffForDecoder;

// Output handlers: both run on the component's output thread, with a codecUserData as `user` (null is
// ignored), and return 0. A picture whose size is not known yet is dropped silently, as is an empty one;
// one that its data or the kept picture has no room for is dropped with a log line.

/// Tiled NV12 (0x2001, 0x2003, 0x2100).
int GetDecodedData2(void* handle, void* data, unsigned int length, void* user);
/// NV12 with padded rows (0x2002, 0x2004), and planar pictures (all others).
int GetDecodedData3(void* handle, void* data, unsigned int length, void* user);

namespace zem {

/// Forgets converter and picture: the next output makes new ones. Any thread.
void dropDecodedPicture();

}  // namespace zem
