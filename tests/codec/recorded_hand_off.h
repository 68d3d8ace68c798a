// The session's side of the hand-off, remembering what it was given.
#pragma once

#include <string>
#include <vector>

namespace zem::test {

enum class HandedOff { kUnit, kHeader, kPicture, kSound };

/// The bytes of all encoded units, stream headers, decoded pictures or audio outputs, in order of delivery.
/// Any thread.
std::vector<std::string> delivered(HandedOff kind);
inline std::vector<std::string> deliveredUnits() {
    return delivered(HandedOff::kUnit);
}
inline std::vector<std::string> deliveredPictures() {
    return delivered(HandedOff::kPicture);
}
void forgetDeliveries();

}  // namespace zem::test
