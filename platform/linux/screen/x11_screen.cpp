// The root window of the X server that DISPLAY names. It may go away and come back between captures.
#include <chrono>
#include <utility>

#include "base/log.h"
#include "platform/linux/screen/opaque_rgba.h"
#include "platform/linux/screen/screen_source.h"
#include "platform/linux/screen/x11_connection.h"

namespace zem {
namespace {

using std::chrono::steady_clock;

// How long a server that has gone is left alone between two attempts to reach it: captures come thirty
// times a second, and each attempt costs a connection.
constexpr std::chrono::milliseconds kRetryPause{500};

class X11Screen final : public ScreenSource {
  public:
    explicit X11Screen(std::unique_ptr<X11Connection> connection) : mConnection(std::move(connection)) {}

    android::status_t capture(const CaptureRequest& request, Picture* picture) override;

  private:
    bool reconnect();
    void lose();
    android::status_t captureOnce(const CaptureRequest& request, Picture* picture);
    bool makePicture(const CapturePlan& plan, const PixelView& pixels, Picture* picture) const;

    std::unique_ptr<X11Connection> mConnection;  // null while the server is away
    steady_clock::time_point mNextTry;           // when the server is away: no attempt before
};

android::status_t X11Screen::capture(const CaptureRequest& request, Picture* picture) {
    const SigpipeGuard guard;
    if (!mConnection && !reconnect()) {
        return android::DEAD_OBJECT;
    }
    android::status_t status = captureOnce(request, picture);
    if (status == android::UNKNOWN_ERROR) {
        // The screen may have been made smaller after it was asked for its size: ask once more.
        status = captureOnce(request, picture);
    }
    if (status == android::DEAD_OBJECT) {
        lose();
    }
    return status;
}

bool X11Screen::reconnect() {
    if (steady_clock::now() < mNextTry) {
        return false;
    }
    mConnection = X11Connection::open();
    mNextTry = steady_clock::now() + kRetryPause;
    if (mConnection) {
        LOGI("The X server is back: captures go on");
    }
    return mConnection != nullptr;
}

void X11Screen::lose() {
    LOGE("The X server has gone away: captures fail until it is back");
    mConnection.reset();
    mNextTry = steady_clock::now() + kRetryPause;
}

android::status_t X11Screen::captureOnce(const CaptureRequest& request, Picture* picture) {
    uint32_t width = 0;
    uint32_t height = 0;
    CapturePlan plan{};
    PixelView pixels{};
    android::status_t status = mConnection->size(&width, &height);
    if (status == android::OK) {
        status = planCapture(request, width, height, &plan);
    }
    if (status == android::OK) {
        status = mConnection->read(plan.left, plan.top, plan.sourceWidth, plan.sourceHeight, &pixels);
    }
    if (status != android::OK) {
        return status;
    }
    return makePicture(plan, pixels, picture) ? android::OK : android::NO_MEMORY;
}

/// What is not scaled stays where the server wrote it: the cheapest copy is none.
bool X11Screen::makePicture(const CapturePlan& plan, const PixelView& pixels, Picture* picture) const {
    const std::shared_ptr<SharedMemory> memory = mConnection->readMemory();
    const bool sameSize = plan.width == plan.sourceWidth && plan.height == plan.sourceHeight;
    if (memory != nullptr && sameSize) {
        // Pixels are four bytes wherever they come from.
        const std::shared_ptr<Rgba> lent(memory, reinterpret_cast<Rgba*>(memory->data()));
        picture->borrow(lent, plan.width, plan.height);
    } else if (!picture->reshape(plan.width, plan.height)) {
        return false;
    }
    return toOpaqueRgba(pixels, mConnection->byteOrder(), picture);
}

}  // namespace

std::unique_ptr<ScreenSource> openX11Screen() {
    const SigpipeGuard guard;
    std::unique_ptr<X11Connection> connection = X11Connection::open();
    if (!connection) {
        return nullptr;
    }
    return std::make_unique<X11Screen>(std::move(connection));
}

}  // namespace zem
