#include "tests/codec/recorded_hand_off.h"

#include <map>
#include <mutex>

#include "context/hand_off.h"

using zem::test::HandedOff;

namespace {

std::mutex gMutex;
std::map<HandedOff, std::vector<std::string>> gDeliveries;  // guarded by gMutex

int keep(HandedOff kind, const uint8_t* data, int size) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gDeliveries[kind].emplace_back(data, data + size);
    return 0;
}

}  // namespace

std::vector<std::string> zem::test::delivered(HandedOff kind) {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gDeliveries[kind];
}

void zem::test::forgetDeliveries() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gDeliveries.clear();
}

int copyBufferForEncoder(uint8_t* data, int size) {
    return keep(HandedOff::kUnit, data, size);
}
void copyHeaderForDecoder(uint8_t* data, int size) {
    keep(HandedOff::kHeader, data, size);
}
int copyBufferForDecoder(uint8_t* data, int size) {
    return keep(HandedOff::kPicture, data, size);
}
int copyBufferForAudioEncoder(uint8_t* data, int size) {
    return keep(HandedOff::kSound, data, size);
}
int copyBufferForAudioDecoder(uint8_t* data, int size) {
    return keep(HandedOff::kSound, data, size);
}
