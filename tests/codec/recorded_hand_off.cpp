#include "tests/codec/recorded_hand_off.h"

#include <mutex>

#include "context/hand_off.h"

namespace {

std::mutex gMutex;
std::vector<std::string> gUnits;     // guarded by gMutex
std::vector<std::string> gHeaders;   // guarded by gMutex
std::vector<std::string> gPictures;  // guarded by gMutex
std::vector<std::string> gSound;     // guarded by gMutex

void append(std::vector<std::string>& list, const uint8_t* data, int size) {
    std::lock_guard<std::mutex> lock(gMutex);
    list.emplace_back(data, data + size);
}

std::vector<std::string> copyOf(const std::vector<std::string>& list) {
    std::lock_guard<std::mutex> lock(gMutex);
    return list;
}

}  // namespace

namespace zem::test {

std::vector<std::string> deliveredUnits() {
    return copyOf(gUnits);
}

std::vector<std::string> deliveredHeaders() {
    return copyOf(gHeaders);
}

std::vector<std::string> deliveredPictures() {
    return copyOf(gPictures);
}

std::vector<std::string> deliveredSound() {
    return copyOf(gSound);
}

void forgetDeliveries() {
    std::lock_guard<std::mutex> lock(gMutex);
    gPictures.clear();
    gUnits.clear();
    gSound.clear();
    gHeaders.clear();
}

}  // namespace zem::test

int copyBufferForEncoder(uint8_t* data, int size) {
    append(gUnits, data, size);
    return 0;
}

void copyHeaderForDecoder(uint8_t* data, int size) {
    append(gHeaders, data, size);
}

int copyBufferForDecoder(uint8_t* data, int size) {
    append(gPictures, data, size);
    return 0;
}

int copyBufferForAudioEncoder(uint8_t* data, int size) {
    append(gSound, data, size);
    return 0;
}

int copyBufferForAudioDecoder(uint8_t* data, int size) {
    append(gSound, data, size);
    return 0;
}
