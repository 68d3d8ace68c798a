#include "tests/support/x_painter.h"

#include <sys/uio.h>
#include <xcb/xcbext.h>

#include <cstdlib>
#include <cstring>

namespace zem::test {
namespace {

xcb_extension_t gRandr = {"RANDR", 0};

// RandR's numbers of its requests, and the requests themselves, headed by the four bytes that the
// library fills in.
constexpr uint8_t kSetScreenSize = 7;
constexpr uint8_t kSetCrtcConfig = 21;
constexpr uint8_t kGetResourcesCurrent = 25;

struct SetScreenSize {
    uint8_t head[4];
    uint32_t window;
    uint16_t width, height;
    uint32_t millimetresWidth, millimetresHeight;
};
struct GetResources {
    uint8_t head[4];
    uint32_t window;
};
struct ResourcesReply {
    uint8_t head[8];
    uint32_t timestamp, configTimestamp;
    uint16_t crtcs, outputs, modes, namesLength;
    uint8_t unused[8];
    uint32_t firstCrtc;
};
struct SetCrtcConfig {
    uint8_t head[4];
    uint32_t crtc, timestamp, configTimestamp;
    int16_t x, y;
    uint32_t mode;
    uint16_t rotation, unused;
};

template <typename Request>
unsigned send(xcb_connection_t* connection, uint8_t opcode, bool isVoid, Request* request) {
    const xcb_protocol_request_t protocol{1, &gRandr, opcode, static_cast<uint8_t>(isVoid)};
    iovec parts[3] = {};  // the library wants two of its own before the request
    parts[2] = {request, sizeof *request};
    return xcb_send_request(connection, XCB_REQUEST_CHECKED, parts + 2, &protocol);
}

}  // namespace

XPainter::XPainter(const std::string& display)
    : mConnection(xcb_connect(display.c_str(), nullptr)),
      mRoot(xcb_setup_roots_iterator(xcb_get_setup(mConnection)).data->root) {}

XPainter::~XPainter() {
    xcb_disconnect(mConnection);
}

void XPainter::fill(uint32_t rgb, int16_t x, int16_t y, uint16_t width, uint16_t height) {
    const xcb_gcontext_t context = xcb_generate_id(mConnection);
    const xcb_rectangle_t area{x, y, width, height};
    xcb_create_gc(mConnection, context, mRoot, XCB_GC_FOREGROUND, &rgb);
    xcb_poly_fill_rectangle(mConnection, mRoot, context, 1, &area);
    xcb_free_gc(mConnection, context);
    // An answer to a later request: the drawing is done.
    free(xcb_get_input_focus_reply(mConnection, xcb_get_input_focus(mConnection), nullptr));
}

bool XPainter::resize(uint16_t width, uint16_t height) {
    switchOffOutput();
    SetScreenSize request{{}, mRoot, width, height, width, height};
    const unsigned sequence = send(mConnection, kSetScreenSize, true, &request);
    xcb_generic_error_t* error = xcb_request_check(mConnection, {sequence});
    const bool done = error == nullptr;
    free(error);
    return done;
}

/// The screen may not become smaller than what is on an output: nothing is shown on this one anyway.
void XPainter::switchOffOutput() {
    GetResources ask{{}, mRoot};
    const unsigned sequence = send(mConnection, kGetResourcesCurrent, false, &ask);
    void* reply = xcb_wait_for_reply(mConnection, sequence, nullptr);
    if (reply == nullptr) {
        return;
    }
    ResourcesReply resources{};
    memcpy(&resources, reply, sizeof resources);
    free(reply);
    SetCrtcConfig off{{}, resources.firstCrtc, XCB_CURRENT_TIME, resources.configTimestamp, 0, 0, 0, 1, 0};
    free(xcb_wait_for_reply(mConnection, send(mConnection, kSetCrtcConfig, false, &off), nullptr));
}

}  // namespace zem::test
