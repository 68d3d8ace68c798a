#include "platform/linux/screen/x11_connection.h"

#include <sys/socket.h>
#include <xcb/shm.h>

#include <mutex>
#include <utility>

#include "base/log.h"

namespace zem {
namespace {

constexpr uint32_t kAllPlanes = 0xFFFFFFFF;
// The scaler reads whole vectors: it may look past the last pixel, by less than this.
constexpr size_t kSegmentMargin = 64;

const xcb_screen_t* screenOf(const xcb_setup_t* setup, int number) {
    xcb_screen_iterator_t each = xcb_setup_roots_iterator(setup);
    for (; each.rem > 0 && number > 0; --number) {
        xcb_screen_next(&each);
    }
    return each.rem > 0 ? each.data : nullptr;
}

const xcb_visualtype_t* rootVisual(const xcb_screen_t* screen) {
    xcb_depth_iterator_t depth = xcb_screen_allowed_depths_iterator(screen);
    for (; depth.rem > 0; xcb_depth_next(&depth)) {
        xcb_visualtype_iterator_t visual = xcb_depth_visuals_iterator(depth.data);
        for (; visual.rem > 0; xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen->root_visual) {
                return visual.data;
            }
        }
    }
    return nullptr;
}

bool hasWordPixels(const xcb_setup_t* setup, uint8_t depth) {
    xcb_format_iterator_t format = xcb_setup_pixmap_formats_iterator(setup);
    for (; format.rem > 0; xcb_format_next(&format)) {
        if (format.data->depth == depth) {
            return format.data->bits_per_pixel == 32 && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
        }
    }
    return false;
}

/// False for screens whose pixels are not three bytes in a little-endian word.
bool byteOrderOf(const xcb_setup_t* setup, const xcb_screen_t* screen, ByteOrder* order) {
    const xcb_visualtype_t* visual = rootVisual(screen);
    if (visual == nullptr || visual->green_mask != 0xFF00 || !hasWordPixels(setup, screen->root_depth)) {
        return false;
    }
    *order = visual->red_mask == 0xFF ? ByteOrder::kRgbx : ByteOrder::kBgrx;
    return visual->red_mask == 0xFF || visual->red_mask == 0xFF0000;
}

/// One at a time in the process: the library that finds the server's key keeps its file's name in a buffer
/// that all threads share.
XcbHandle connect(int* screenNumber) {
    static std::mutex connecting;
    std::lock_guard<std::mutex> lock(connecting);
    return XcbHandle(xcb_connect(nullptr, screenNumber));
}

/// Memory is shared by passing its descriptor, which needs a socket of this machine.
bool isLocal(xcb_connection_t* connection) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    const int fd = xcb_get_file_descriptor(connection);
    // The sockets' interface asks for this cast.
    return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

}  // namespace

std::unique_ptr<X11Connection> X11Connection::open() {
    int number = 0;
    XcbHandle connection = connect(&number);
    if (xcb_connection_has_error(connection.get()) != 0) {
        return nullptr;
    }
    const xcb_setup_t* setup = xcb_get_setup(connection.get());
    const xcb_screen_t* screen = screenOf(setup, number);
    ByteOrder order = ByteOrder::kBgrx;
    if (screen == nullptr || !byteOrderOf(setup, screen, &order)) {
        LOGE("The X server's screen %d (depth %d) has no pixels of 8 bits a colour that can be captured",
             number, screen != nullptr ? screen->root_depth : 0);
        return nullptr;
    }
    return std::unique_ptr<X11Connection>(new X11Connection(std::move(connection), screen->root, order));
}

X11Connection::X11Connection(XcbHandle connection, xcb_window_t root, ByteOrder order)
    : mConnection(std::move(connection)), mRoot(root), mOrder(order), mShared(canShare()) {}

X11Connection::~X11Connection() = default;  // the server forgets the segment with the connection

android::status_t X11Connection::failure() const {
    return xcb_connection_has_error(mConnection.get()) != 0 ? android::DEAD_OBJECT : android::UNKNOWN_ERROR;
}

bool X11Connection::canShare() const {
    xcb_connection_t* const c = mConnection.get();
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(c, &xcb_shm_id);
    if (shm == nullptr || shm->present == 0 || !isLocal(c)) {
        return false;
    }
    const XcbReply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(c, xcb_shm_query_version(c), nullptr));
    // Descriptors are passed since 1.2.
    return version && (version->major_version > 1 || version->minor_version >= 2);
}

android::status_t X11Connection::size(uint32_t* width, uint32_t* height) {
    xcb_connection_t* const c = mConnection.get();
    const XcbReply<xcb_get_geometry_reply_t> root(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, mRoot), nullptr));
    if (!root) {
        return failure();
    }
    *width = root->width;
    *height = root->height;
    return android::OK;
}

android::status_t X11Connection::read(uint32_t left, uint32_t top, uint32_t width, uint32_t height,
                                      PixelView* pixels) {
    // The area lies inside the root window, whose sizes the protocol keeps in 16 bits.
    const xcb_rectangle_t area{static_cast<int16_t>(left), static_cast<int16_t>(top),
                               static_cast<uint16_t>(width), static_cast<uint16_t>(height)};
    const size_t bytes = size_t{width} * height * 4;
    if (mShared && !ensureSegment(bytes)) {
        if (failure() == android::DEAD_OBJECT) {
            return android::DEAD_OBJECT;
        }
        LOGW("The X server takes no shared memory: captures go through its socket");
        mShared = false;
    }
    return mShared ? readShared(area, bytes, pixels) : readCopied(area, bytes, pixels);
}

/// What somebody keeps stays whole even if the server ends in the midst of writing its successor.
bool X11Connection::ensureSegment(size_t bytes) {
    if (mCurrent->memory.use_count() > 1) {
        mCurrent = mCurrent == &mSegments[0] ? &mSegments[1] : &mSegments[0];
    }
    if (mCurrent->id != 0 && mCurrent->memory->size() >= bytes + kSegmentMargin) {
        return true;
    }
    detach();
    auto memory = std::make_shared<SharedMemory>(bytes + kSegmentMargin);
    return memory->data() != nullptr && attach(std::move(memory));
}

bool X11Connection::attach(std::shared_ptr<SharedMemory> memory) {
    xcb_connection_t* const c = mConnection.get();
    const uint32_t segment = xcb_generate_id(c);
    // The library closes the descriptor once it is sent.
    const XcbReply<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_shm_attach_fd_checked(c, segment, memory->releaseFd(), 0)));
    if (error || xcb_connection_has_error(c) != 0) {
        return false;
    }
    *mCurrent = {segment, std::move(memory)};
    return true;
}

void X11Connection::detach() {
    if (mCurrent->id != 0) {
        xcb_shm_detach(mConnection.get(), mCurrent->id);
        *mCurrent = {};
    }
}

android::status_t X11Connection::readShared(const xcb_rectangle_t& area, size_t bytes, PixelView* pixels) {
    xcb_connection_t* const c = mConnection.get();
    const xcb_shm_get_image_cookie_t cookie =
        xcb_shm_get_image(c, mRoot, area.x, area.y, area.width, area.height, kAllPlanes,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, mCurrent->id, 0);
    const XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(c, cookie, nullptr));
    if (!reply || reply->size < bytes) {
        return failure();
    }
    *pixels = {mCurrent->memory->data(), area.width, area.height};
    return android::OK;
}

android::status_t X11Connection::readCopied(const xcb_rectangle_t& area, size_t bytes, PixelView* pixels) {
    xcb_connection_t* const c = mConnection.get();
    const xcb_get_image_cookie_t cookie = xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, mRoot, area.x, area.y,
                                                        area.width, area.height, kAllPlanes);
    mImage.reset(xcb_get_image_reply(c, cookie, nullptr));
    if (!mImage || static_cast<size_t>(xcb_get_image_data_length(mImage.get())) < bytes) {
        return failure();
    }
    *pixels = {xcb_get_image_data(mImage.get()), area.width, area.height};
    return android::OK;
}

}  // namespace zem
