// A screen, H.264 codecs, the base of all codecs and the device's queries for tests of the session: link-time
// stand-ins that remember what they were told, and fail or wait on request.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace zem::test {

/// What every Screenshot answers; one lives at a time. Pixels are real memory of exactly the size told, so
/// that a sanitizer sees a read past it; byte i of a capture is i modulo 251.
struct FakeScreen {
    int format = 1;
    int stride = 0;        // pixels; 0: the width asked for
    int missingBytes = 0;  // taken off the size
    bool failing = false;  // captures give no pixels
    std::atomic<int> captures{0};
    std::atomic<int> living{0};
    std::atomic<unsigned> maxLayer{0xFFFFFFFF};
    int displayReleases = 0;
};

/// All codecs of one direction. A thread of the codec's own delivers `output` from open to destruction.
struct FakeCodec {
    std::atomic<int> openResult{1};
    std::atomic<int> result{0};  // of the calls with data
    /// Such a call waits until the codec is asked to close, as for an input buffer that never comes.
    std::atomic<bool> waitsForClose{false};
    std::vector<uint8_t> output;      // empty: none is delivered
    std::atomic<int> openQueries{0};  // IsOpen() says yes so many times
    std::mutex mutex;                 // guards the lists
    std::vector<std::string> opens;   // arguments
    std::vector<bool> closes;         // how each was to close, where that was said
    std::atomic<int> living{0};
    std::atomic<int> overlappingLives{0};  // constructed while another lived
    std::atomic<int> inCall{0};
    std::atomic<int> overlappingCalls{0};     // called with another call inside
    std::atomic<int> endedInCall{0};          // destroyed with a call inside
    std::atomic<int> endedByOutputThread{0};  // destroyed by the thread it has to join
};

struct FakeEncoder : FakeCodec {
    std::atomic<int> hardwareBase{0};
    struct Call {
        const uint8_t* in;
        int outSize;
        int stride;
        bool skipsConversion;
        uint8_t first;
    };
    std::vector<Call> calls;
};

struct FakeDecoder : FakeCodec {
    std::atomic<int> width{0};
    std::atomic<int> height{0};
    std::vector<std::vector<uint8_t>> units;  // what decode() got
};

/// The AAC codecs of both directions.
struct FakeAac : FakeCodec {
    std::vector<std::vector<uint8_t>> blocks;  // what encode() and decode() got
    std::vector<uint8_t> gathers;              // gathered output after each of these calls
};

FakeScreen& fakeScreen();
FakeEncoder& fakeEncoder();
FakeDecoder& fakeDecoder();
FakeAac& fakeAac();
/// All as new; the session is deleted.
void resetFakeMedia();
/// Its part for the codecs.
void resetFakeCodecs();

}  // namespace zem::test
