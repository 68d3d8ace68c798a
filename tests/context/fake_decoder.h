// An H.264 decoder for tests of the session: a link-time stand-in with an output thread of its own.
#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <vector>

#include "tests/context/fake_media.h"

class omxCodecCommon;

namespace zem::test {

/// Every call of decode() gives one picture, `picture`, which the decoder's own thread delivers. Up to 4
/// wait for it, further ones are lost; before the decoder is destroyed all are delivered.
struct FakeDecoder : FakeOpenState {
    std::atomic<int> openResult{1};
    std::atomic<int> decodeResult{0};
    std::atomic<int> width{0};
    std::atomic<int> height{0};
    /// decode() waits until the decoder is asked to close, as for an input buffer that never comes.
    std::atomic<bool> waitsForClose{false};
    std::vector<uint8_t> picture;  // empty: none is delivered

    std::mutex mutex;  // guards the lists
    std::vector<std::array<int, 2>> opens;
    std::vector<std::vector<uint8_t>> units;  // what decode() got
    std::vector<bool> closes;                 // arguments of close()
    std::atomic<int> living{0};
    std::atomic<int> overlappingLives{0};  // constructed while another lived
    std::atomic<int> inDecode{0};
    std::atomic<int> overlappingCalls{0};     // decode() entered with another call inside
    std::atomic<int> endedWhileDecoding{0};   // closed or destroyed with a call inside
    std::atomic<int> endedByOutputThread{0};  // destroyed by the thread it has to join
};

FakeDecoder& fakeDecoder();
void resetFakeDecoder();
/// Null for the common part of another codec.
FakeOpenState* openStateOfDecoder(const omxCodecCommon* codec);

}  // namespace zem::test
