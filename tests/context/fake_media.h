// A screen, an H.264 encoder, the base of all codecs and the device's queries for tests of the session:
// link-time stand-ins that remember what they were told, and fail or wait on request.
#pragma once

#include <android/bitmap.h>

#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zem::test {

/// What every Screenshot answers. Pixels are real memory of exactly the size told, so that a sanitizer
/// sees a read past it; byte i of a capture is i modulo 251.
struct FakeScreen {
    int format = 1;
    int stride = 0;             // pixels; 0: the width asked for
    int missingBytes = 0;       // taken off the size
    bool failing = false;       // captures give no pixels
    bool withoutProbe = false;  // no pixels before the first capture
    std::atomic<int> captures{0};
    std::atomic<int> living{0};
    std::vector<std::array<int, 2>> sizes;  // of all constructions
    std::atomic<unsigned> maxLayer{0xFFFFFFFF};
};

/// What the IsOpen() of a codec answers.
struct FakeOpenState {
    std::atomic<bool> openUntilDestroyed{false};  // 1
    /// The next query and all after it answer 0 from the n-th on; 0: by openUntilDestroyed.
    std::atomic<int> closesAtQuery{0};
    std::atomic<int> queries{0};

    int answer() {
        const int query = ++queries;
        const int last = closesAtQuery;
        return last != 0 ? query < last : openUntilDestroyed.load();
    }
};

struct FakeEncoder : FakeOpenState {
    std::atomic<int> openResult{1};
    std::atomic<int> hardwareBase{0};
    std::atomic<int> encodeResult{0};
    /// encode() waits until the encoder is asked to close, as for an input buffer that never comes.
    std::atomic<bool> waitsForClose{false};
    /// A thread of the encoder's delivers this from open to destruction, and asks for the gathered size.
    std::vector<uint8_t> output;

    std::mutex mutex;  // guards the lists
    std::vector<std::string> opens;
    struct Call {
        const uint8_t* in;
        int outSize;
        int stride;
        bool skipsConversion;
        uint8_t first;
    };
    std::vector<Call> calls;
    std::vector<bool> closeTypes;
    std::atomic<int> living{0};
    std::atomic<int> inEncode{0};
    std::atomic<int> overlappingCalls{0};     // encode() entered with another call inside
    std::atomic<int> endedWhileEncoding{0};   // destroyed with a call inside
    std::atomic<int> endedByOutputThread{0};  // destroyed by the thread it has to join
};

struct FakeDevice {
    int hardwareBase = 0x2002;
    int displayReleases = 0;
    int bitmapInfoResult = 0;
    int bitmapLockResult = 0;
    int bitmapUnlocks = 0;
};

FakeScreen& fakeScreen();
FakeEncoder& fakeEncoder();
FakeDevice& fakeDevice();
/// All three and the decoder (fake_decoder.h) as new; the session is deleted.
void resetFakeMedia();

}  // namespace zem::test
