// The ring between the audio hook library's thread and the client's own.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "audio/audio_hook_client.h"

/// Bytes in the order of their coming, 1 MiB at most. When it is full the oldest sound goes: who pushes never
/// waits for who pops. One thread may push while another pops.
class AudioHookClient::AudioBuffer {
  public:
    static constexpr int32_t kCapacity = 0x100000;  // bytes

    /// Appends `size` bytes. When they do not fit, as many of the oldest as come in are dropped, so that
    /// sound in blocks of one size loses whole blocks. A block larger than the ring leaves its newest 1 MiB.
    /// A null `source` or a size below 1 changes nothing.
    void push(const uint8_t* source, int size);
    /// Takes at most `max` bytes out; returns how many.
    int pop(uint8_t* target, int max);

  private:
    const std::unique_ptr<uint8_t[]> data{new uint8_t[kCapacity]};
    int32_t readPos = 0;            // guarded by mutex
    int32_t writePos = 0;           // guarded by mutex
    std::atomic<int32_t> count{0};  // written under mutex
    std::mutex mutex;
};
