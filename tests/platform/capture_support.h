// Shorthands for tests of the screenshot client.
#pragma once

#include <gui/SurfaceComposerClient.h>

#include <cstddef>
#include <cstdint>

namespace zem::test {

/// A capture of the whole main display; 0 x 0 is its full size.
inline android::status_t captureScreen(android::ScreenshotClient* client, uint32_t width = 0,
                                       uint32_t height = 0, android::Rect crop = android::Rect(0, 0)) {
    return client->update(android::SurfaceComposerClient::getBuiltInDisplay(0), crop, width, height, false);
}

/// The pixel as 0xRRGGBBAA.
inline uint32_t pixelAt(const android::ScreenshotClient& client, uint32_t x, uint32_t y) {
    const auto* bytes =
        static_cast<const uint8_t*>(client.getPixels()) + (size_t{y} * client.getStride() + x) * 4;
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace zem::test
