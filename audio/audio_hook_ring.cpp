#include "audio/audio_hook_ring.h"

#include <algorithm>
#include <cstring>

void AudioHookClient::AudioBuffer::push(const uint8_t* source, int size) {
    if (source == nullptr || size < 1) {
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    int32_t left = size;
    int32_t kept = count;
    if (left > kCapacity) {
        source += left - kCapacity;
        left = kCapacity;
        kept = 0;
        readPos = writePos;
    } else if (kept > kCapacity - left) {
        // Never below 0 in the end: what comes in is as much. That it exceeds what is there only means that
        // its own beginning goes, too.
        readPos = (readPos + left) % kCapacity;
        kept -= left;
    }
    kept += left;
    const int32_t untilEnd = std::min(left, kCapacity - writePos);
    memcpy(data.get() + writePos, source, static_cast<size_t>(untilEnd));
    memcpy(data.get(), source + untilEnd, static_cast<size_t>(left - untilEnd));
    writePos = (writePos + left) % kCapacity;
    count = kept;
}

int AudioHookClient::AudioBuffer::pop(uint8_t* target, int max) {
    if (count == 0 || target == nullptr || max < 1) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    const int32_t taken = std::min<int32_t>(max, count);
    const int32_t untilEnd = std::min(taken, kCapacity - readPos);
    memcpy(target, data.get() + readPos, static_cast<size_t>(untilEnd));
    memcpy(target + untilEnd, data.get(), static_cast<size_t>(taken - untilEnd));
    readPos = (readPos + taken) % kCapacity;
    count -= taken;
    return taken;
}
