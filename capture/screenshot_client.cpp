#include "capture/screenshot_client.h"

#include <new>

namespace zem {
namespace {

// The client's constructor runs inside the device's library and writes as many bytes as *that* release's
// class has (96, 104 or 112 on 32-bit), whatever size the header compiled against says. Each client gets
// room for the largest known one and as much again.
constexpr size_t kClientRoom = 256;
static_assert(sizeof(android::ScreenshotClient) <= kClientRoom,
              "the room has to cover the header's own size");

}  // namespace

android::ScreenshotClient* newScreenshotClient() {
    return new (::operator new(kClientRoom)) android::ScreenshotClient;
}

void deleteScreenshotClient(android::ScreenshotClient* client) {
    if (client == nullptr) {
        return;
    }
    client->~ScreenshotClient();
    ::operator delete(client);  // not `delete`, which would hand the header's size to the heap
}

}  // namespace zem
