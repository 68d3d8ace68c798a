// The only way from a codec driver's output thread to the session and to Java.
#pragma once

#include <cstdint>

/// Each copies `size` bytes at `data` into a buffer borrowed from the matching Java pool, with the
/// calling thread attached to the Java VM for just this delivery. Without a sink the data is dropped
/// silently; with an exhausted pool or a buffer that is too small it is dropped with a log line.
/// Called on codec output threads only; `data` need not outlive the call. Never creates the session.
/// Returns 0.
int copyBufferForEncoder(uint8_t* data, int size);
int copyBufferForDecoder(uint8_t* data, int size);
int copyBufferForAudioEncoder(uint8_t* data, int size);
int copyBufferForAudioDecoder(uint8_t* data, int size);

/// Keeps the first non-empty output of an encoder that was opened only for its stream header. Later
/// output is ignored with a log line. Called on the encoder's output thread; does not enter Java.
void copyHeaderForDecoder(uint8_t* data, int size);
