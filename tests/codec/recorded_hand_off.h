// The session's side of the hand-off, remembering what it was given.
#pragma once

#include <string>
#include <vector>

namespace zem::test {

/// The bytes of all encoded units, stream headers and decoded pictures, in order of delivery. Any thread.
std::vector<std::string> deliveredUnits();
std::vector<std::string> deliveredHeaders();
std::vector<std::string> deliveredPictures();
void forgetDeliveries();

}  // namespace zem::test
