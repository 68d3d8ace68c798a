// The numbers that Java and the session share.
#pragma once

namespace zem {

/// What openVideoInput can open.
constexpr int kSourceScreen = 1;
/// Known to Java, but there is nothing behind it: never opens.
constexpr int kSourceCamera = 2;

constexpr int kCodecH264 = 2;    // video, in hardware
constexpr int kCodecVorbis = 3;  // audio, in software
constexpr int kCodecAac = 4;     // audio, in hardware

/// Bytes that every video encode call is offered as its output.
constexpr int kVideoEncodeBufferSize = 204800;
/// Bytes of software-encoded sound that one delivery can bring.
constexpr int kAudioBufferSize = 32768;

}  // namespace zem
