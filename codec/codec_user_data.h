// The record that every codec wrapper keeps for its driver, and that its output handler is given.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

/// Owned by omxCodecCommon, from construction to destruction, so that it outlives the component whose
/// threads use it. The atomic fields are touched by the wrapper's caller, by the component's output
/// thread and by the session's queries at once; the plain ones are set while no component runs.
struct codecUserData {
    /// Where output is gathered; null when it is delivered onward. Owned.
    unsigned char* outputBuffer = nullptr;
    /// Bytes at outputBuffer; 0 when there is none.
    int outputCapacity = 0;
    /// Bytes gathered so far, the next write position.
    std::atomic<int> outputUsed{0};
    /// Result of the wrapper's last omx_init: not 0 while the codec runs.
    std::atomic<int> openResult{0};
    /// Pixels.
    std::atomic<int> width{0};
    std::atomic<int> height{0};
    /// An encoder's pending outputs: lowered by one with every output while above 0. A decoder's
    /// pending inputs: while not 0, packets are sent without waiting, -1 skips one; nothing sets it yet.
    std::atomic<int> pendingOutputs{0};
    /// First word of the input buffer sent most recently: the component's id of it.
    std::atomic<uint32_t> lastInputBuffer{0};
    /// A code of hardware_detection.h.
    std::atomic<int> hardwareBase{0};
    /// Decoder only: width modulo 64, the padding of each row of its pictures.
    std::atomic<int> strideRemainder{0};
    /// Decoder only: pixels cut from the right of each picture row.
    std::atomic<int> cropMargin{0};
    /// Audio encoder only: what its component was set up with.
    int channels = 0;
    int bitrate = 0;       // bits a second
    int samplingRate = 0;  // samples a second
    /// Work memory of an output handler, made and used on the output thread; freed only when the
    /// component has stopped. Owned.
    unsigned char* secondBuffer = nullptr;
    /// Bytes at secondBuffer.
    int secondBufferSize = 0;
    /// Decoder only: why, and at which size, the last picture that was dropped was; a literal, null while
    /// none was. The output thread's.
    const char* dropReason = nullptr;
    int dropWidth = 0;
    int dropHeight = 0;
    /// Guard of the audio codecs' gathered output and of the wake-up that goes with it. Never held across a
    /// call into the component or into Java.
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    /// Outputs of an audio codec so far; wraps. Guarded by the mutex, signalled by the condition.
    unsigned outputCount = 0;
    /// Set by another thread that is about to delete the codec: ends every wait for the component.
    std::atomic<bool> closeRequested{false};
};
