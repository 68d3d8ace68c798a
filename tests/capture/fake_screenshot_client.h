// The platform's screenshot client with everything that it is asked written down.
#pragma once

#include <binder/IBinder.h>
#include <ui/Rect.h>
#include <utils/Errors.h>

#include <cstdint>
#include <vector>

namespace zem::test {

/// One call of an update overload, told by its number of arguments.
struct FakeUpdate {
    int arguments;
    bool hadDisplay;
    android::Rect crop;
    uint32_t width, height, minLayer, maxLayer;
    bool identity;
};

struct FakeScreen {
    // What the next updates answer, and what they find.
    android::status_t result = android::OK;
    uint32_t width = 0, height = 0;  // of full-size captures
    int32_t format = 1;
    // What happened.
    std::vector<FakeUpdate> updates;
    int clientsMade = 0;
    int clientsAlive = 0;
    int displayFetches = 0;
};

/// The one that all fake clients share; a test assigns a fresh one.
FakeScreen& fakeScreen();

}  // namespace zem::test
