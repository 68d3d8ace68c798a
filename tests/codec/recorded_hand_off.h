// The session's side of the hand-off, remembering what it was given.
#pragma once

#include <string>
#include <vector>

namespace zem::test {

/// The bytes of all encoded units, stream headers, decoded pictures and audio outputs, in order of
/// delivery. Any thread.
std::vector<std::string> deliveredUnits();
std::vector<std::string> deliveredHeaders();
std::vector<std::string> deliveredPictures();
std::vector<std::string> deliveredSound();
void forgetDeliveries();

}  // namespace zem::test
