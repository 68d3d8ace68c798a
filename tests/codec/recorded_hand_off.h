// The session's side of the hand-off, remembering what it was given.
#pragma once

#include <string>
#include <vector>

namespace zem::test {

/// The bytes of all encoded units, and of all stream headers, in order of delivery. Any thread.
std::vector<std::string> deliveredUnits();
std::vector<std::string> deliveredHeaders();
void forgetDeliveries();

}  // namespace zem::test
