// Proves captures of a real X server: colours, scale, a server that goes and comes. Would catch: red and blue
// exchanged, a segment that does not grow, a write to a broken socket that ends the
// process, a reconnect that never happens.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/screen/screen_source.h"
#include "platform/linux/screen/x11_handles.h"
#include "tests/platform/capture_support.h"
#include "tests/support/log_capture.h"
#include "tests/support/server.h"

namespace zem::test {
namespace {

using android::OK;
using android::Rect;
using android::ScreenshotClient;

constexpr uint16_t kWidth = 1280;
constexpr uint16_t kHeight = 720;

/// A server with a red left half and a blue right half, except for an orange spot at 100,50.
class X11ScreenTest : public testing::Test {
  protected:
    void start(const std::vector<std::string>& more = {}) {
        mServer = std::make_unique<Xvfb>(kWidth, kHeight, more);
        ASSERT_TRUE(mServer->running());
        setenv("DISPLAY", mServer->display().c_str(), 1);
        mPainter.reset(xcb_connect(nullptr, nullptr));
        fill(0xFF0000, {0, 0, kWidth / 2, kHeight});
        fill(0x0000FF, {kWidth / 2, 0, kWidth / 2, kHeight});
        fill(0xFF8000, {100, 50, 20, 10});
    }
    /// Paints 0xRRGGBB; it is on the screen when the call returns.
    void fill(uint32_t rgb, const xcb_rectangle_t& area) {
        xcb_connection_t* const c = mPainter.get();
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        const xcb_gcontext_t context = xcb_generate_id(c);
        xcb_create_gc(c, context, root, XCB_GC_FOREGROUND, &rgb);
        free(xcb_request_check(c, xcb_poly_fill_rectangle_checked(c, root, context, 1, &area)));
    }

    std::unique_ptr<Xvfb> mServer;
    XcbHandle mPainter;
};

TEST_F(X11ScreenTest, ColoursArriveAtEverySizeInTheirMoment) {
    // With shared memory and, where the server knows none, through its socket.
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"-extension", "MIT-SHM"}}) {
        start(options);
        ScreenshotClient client;
        ASSERT_EQ(captureScreen(&client, 0, 0, Rect(100, 50, 120, 60)), OK);
        ASSERT_EQ(client.getSize(), 20U * 10 * 4);
        EXPECT_EQ(pixelAt(client, 19, 9), 0xFF8000FFU);
        for (const auto& [width, height] :
             {std::pair(640U, 360U), {1280U, 720U}, {853U, 479U}, {1920U, 1080U}}) {
            ASSERT_EQ(captureScreen(&client, width, height), OK);
            ASSERT_EQ(client.getStride(), width);
            ASSERT_EQ(client.getHeight(), height);
            EXPECT_EQ(pixelAt(client, 0, height / 2), 0xFF0000FFU);
            EXPECT_EQ(pixelAt(client, width - 1, height - 1), 0x0000FFFFU);
            EXPECT_EQ(pixelAt(client, width * 110 / kWidth, height * 55 / kHeight), 0xFF8000FFU);
        }
        fill(0x00FF00, {0, 0, 10, 10});
        ASSERT_EQ(captureScreen(&client), OK);
        EXPECT_EQ(pixelAt(client, 5, 5), 0x00FF00FFU);
        mPainter.reset();
    }
}

TEST_F(X11ScreenTest, ServerThatEndsInMidCaptureFailsUntilItIsBack) {
    signal(SIGPIPE, SIG_DFL);  // whoever runs the tests may have had it ignored
    // A display that no other test's server takes while this one is away.
    start({":" + std::to_string(1000 + getpid() % 50000)});
    forgetLog();
    ScreenshotClient client;
    ASSERT_EQ(captureScreen(&client), OK);
    mPainter.reset();
    std::thread end([this] { mServer->stop(); });
    while (captureScreen(&client) == OK) {
    }
    end.join();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(captureScreen(&client), android::DEAD_OBJECT);
    }
    EXPECT_EQ(loggedCount("has gone away"), 1);
    ASSERT_EQ(client.getWidth(), kWidth);
    EXPECT_EQ(pixelAt(client, 5, 700), 0xFF0000FFU) << "the picture before it stays";

    mServer = std::make_unique<Xvfb>(320, 200, std::vector<std::string>{mServer->display()});
    ASSERT_TRUE(mServer->running());
    for (int i = 0; i < 500 && captureScreen(&client) != OK; ++i) {
        usleep(20000);
    }
    EXPECT_EQ(client.getWidth(), 320U);
    EXPECT_EQ(loggedCount("captures go on"), 1);
}

// Would catch: a picture that its successor is written into, of which a server that ends leaves half.
TEST_F(X11ScreenTest, PictureStaysWholeWhileTheNextIsRead) {
    start();
    const CaptureRequest whole{Rect(0, 0), 0, 0};
    const auto screen = openX11Screen();
    Picture kept;
    Picture next;
    ASSERT_EQ(screen->capture(whole, &kept), OK);
    fill(0x00FF00, {0, 0, kWidth, kHeight});
    ASSERT_EQ(screen->capture(whole, &next), OK);
    EXPECT_EQ(kept.row(700)[5].r, 255);
    EXPECT_EQ(next.row(700)[5].g, 255);
    mPainter.reset();
}

TEST(SigpipeGuardTest, BrokenWriteLeavesTheProcessAlive) {
    signal(SIGPIPE, SIG_DFL);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
        const SigpipeGuard guard;
        EXPECT_EQ(write(ends[1], "x", 1), -1);
    }
    close(ends[1]);
}

}  // namespace
}  // namespace zem::test
