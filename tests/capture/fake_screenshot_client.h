// The platform's screenshot client with everything that it is asked written down.
#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zem::test {

struct FakeScreen {
    // What the next updates answer, and what they find.
    android::status_t result = android::OK;
    uint32_t width = 0, height = 0;  // of full-size captures
    int32_t format = 1;
    // What happened.
    std::vector<std::string> updates;  // "ARGUMENTS of WIDTHxHEIGHT, layers MIN to MAX" and what is odd
    int clientsMade = 0;
    int clientsAlive = 0;
    int displayFetches = 0;
};

/// The one that all fake clients share; a test assigns a fresh one.
FakeScreen& fakeScreen();

}  // namespace zem::test
