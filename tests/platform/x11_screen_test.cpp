// Proves captures of a real X server: colours, scale, sizes that change, a server that goes and comes.
// Would catch: red and blue exchanged, the set-up's stale size used, a segment that does not grow or is
// never given back, a write to a broken socket that ends the process, a reconnect that never happens.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/screen/x11_handles.h"
#include "tests/platform/capture_support.h"
#include "tests/support/log_capture.h"
#include "tests/support/x_painter.h"
#include "tests/support/xvfb.h"

namespace zem::test {
namespace {

using android::OK;
using android::Rect;
using android::ScreenshotClient;

constexpr uint32_t kWidth = 1280;
constexpr uint32_t kHeight = 720;

/// A server with a red left half and a blue right half, except for an orange spot at 100,50.
class X11ScreenTest : public testing::Test {
  protected:
    void start(const std::vector<std::string>& more = {}) {
        mServer = std::make_unique<Xvfb>(kWidth, kHeight, more);
        ASSERT_TRUE(mServer->running());
        mEnvironment.reset();  // before the next one remembers what was set
        mEnvironment = std::make_unique<ScopedEnvironment>("DISPLAY", mServer->display().c_str());
        mPainter = std::make_unique<XPainter>(mServer->display());
        mPainter->fill(0xFF0000, 0, 0, kWidth / 2, kHeight);
        mPainter->fill(0x0000FF, kWidth / 2, 0, kWidth / 2, kHeight);
        mPainter->fill(0xFF8000, 100, 50, 20, 10);
    }
    void stop() {
        mPainter.reset();
        mServer->stop();
    }

    std::unique_ptr<Xvfb> mServer;
    std::unique_ptr<ScopedEnvironment> mEnvironment;
    std::unique_ptr<XPainter> mPainter;
};

void expectHalves(ScreenshotClient* client, uint32_t width, uint32_t height) {
    ASSERT_EQ(captureScreen(client, width, height), OK);
    ASSERT_EQ(client->getWidth(), width);
    ASSERT_EQ(client->getHeight(), height);
    EXPECT_EQ(client->getStride(), width);
    EXPECT_EQ(pixelAt(*client, 0, height / 2), 0xFF0000FFU);
    EXPECT_EQ(pixelAt(*client, width - 1, height - 1), 0x0000FFFFU);
    EXPECT_EQ(pixelAt(*client, width * 110 / kWidth, height * 55 / kHeight), 0xFF8000FFU);
}

TEST_F(X11ScreenTest, ColoursArriveAtEverySize) {
    // With shared memory and, where the server knows none, through its socket.
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"-extension", "MIT-SHM"}}) {
        start(options);
        ScreenshotClient client;
        for (const uint32_t scale : {2U, 1U, 4U}) {
            expectHalves(&client, kWidth / scale, kHeight / scale);
        }
        expectHalves(&client, 1920, 1080);
        ASSERT_EQ(captureScreen(&client, 853, 479), OK);
        EXPECT_EQ(pixelAt(client, 852, 478), 0x0000FFFFU);
        ASSERT_EQ(captureScreen(&client, 0, 0, Rect(100, 50, 120, 60)), OK);
        ASSERT_EQ(client.getSize(), 20U * 10 * 4);
        EXPECT_EQ(pixelAt(client, 0, 0), 0xFF8000FFU);
        EXPECT_EQ(pixelAt(client, 19, 9), 0xFF8000FFU);
        stop();
    }
}

TEST_F(X11ScreenTest, EachCaptureShowsTheScreenOfItsMoment) {
    start();
    ScreenshotClient client;
    ASSERT_EQ(captureScreen(&client), OK);
    EXPECT_EQ(pixelAt(client, 5, 5), 0xFF0000FFU);
    mPainter->fill(0x00FF00, 0, 0, 10, 10);
    ASSERT_EQ(captureScreen(&client), OK);
    EXPECT_EQ(pixelAt(client, 5, 5), 0x00FF00FFU);
}

TEST_F(X11ScreenTest, ResizedScreenIsCapturedAtItsNewSize) {
    start();
    ScreenshotClient client;
    const uint16_t sizes[][2] = {{640, 360}, {kWidth, kHeight}, {1000, 200}};
    for (const auto& size : sizes) {
        ASSERT_TRUE(mPainter->resize(size[0], size[1]));
        ASSERT_EQ(captureScreen(&client), OK);
        EXPECT_EQ(client.getWidth(), size[0]);
        EXPECT_EQ(client.getHeight(), size[1]);
        ASSERT_EQ(captureScreen(&client, 320, 180), OK);
        EXPECT_EQ(client.getWidth(), 320U);
    }
}

TEST_F(X11ScreenTest, ServerThatEndsInMidCaptureFailsUntilItIsBack) {
    signal(SIGPIPE, SIG_DFL);  // whoever runs the tests may have had it ignored
    start();
    forgetLog();
    ScreenshotClient client;
    ScreenshotClient idle;  // its first word after the server's end goes into a broken socket
    ASSERT_EQ(captureScreen(&client), OK);
    ASSERT_EQ(captureScreen(&idle), OK);
    mPainter.reset();
    std::thread end([this] { mServer->stop(); });
    android::status_t status = OK;
    while (status == OK) {
        status = captureScreen(&client);
    }
    end.join();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(captureScreen(&client), android::DEAD_OBJECT);
    }
    EXPECT_EQ(loggedCount("has gone away"), 1);
    EXPECT_EQ(captureScreen(&idle), android::DEAD_OBJECT);
    ASSERT_EQ(client.getWidth(), kWidth);
    EXPECT_EQ(pixelAt(client, 5, 700), 0xFF0000FFU) << "the picture before it stays";

    const std::string display = mServer->display();
    mServer = std::make_unique<Xvfb>(320, 200, std::vector<std::string>{display});
    ASSERT_TRUE(mServer->running());
    for (int i = 0; i < 500 && captureScreen(&client) != OK; ++i) {
        usleep(20000);
    }
    EXPECT_EQ(client.getWidth(), 320U);
    EXPECT_EQ(loggedCount("captures go on"), 1);
    EXPECT_EQ(loggedCount("moving test card"), 0);
}

int openDescriptors() {
    int count = 0;
    DIR* list = opendir("/proc/self/fd");
    while (readdir(list) != nullptr) {
        ++count;
    }
    closedir(list);
    return count;
}

int mappedSegments(pid_t process) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find("memfd:screen") != std::string::npos ? 1 : 0;
    }
    return count;
}

TEST_F(X11ScreenTest, NothingIsLeftBehindByFiftyClients) {
    start();
    const int before = openDescriptors();
    for (int round = 0; round < 50; ++round) {
        ScreenshotClient client;
        for (const int32_t side : {10, 200, 700}) {  // the segment grows twice
            ASSERT_EQ(captureScreen(&client, 32, 32, Rect(side, side)), OK);
        }
        ASSERT_EQ(mappedSegments(getpid()), 1);
        ASSERT_EQ(mappedSegments(mServer->pid()), 1) << "round " << round;
        ASSERT_EQ(openDescriptors(), before + 1) << "only the connection";
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(mappedSegments(getpid()), 0);
}

TEST_F(X11ScreenTest, ClientsOfSeveralThreadsDoNotMeet) {
    start();
    std::vector<std::thread> threads;
    for (uint32_t scale = 1; scale <= 3; ++scale) {
        threads.emplace_back([scale] {
            for (int round = 0; round < 10; ++round) {
                ScreenshotClient client;
                expectHalves(&client, kWidth / scale, kHeight / scale);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(SigpipeGuardTest, BrokenWriteLeavesProcessAndSignalsAsTheyWere) {
    signal(SIGPIPE, SIG_DFL);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
        const SigpipeGuard guard;
        EXPECT_EQ(write(ends[1], "x", 1), -1);
    }
    close(ends[1]);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

TEST(X11ScreenDepth, ScreenWithoutWholeBytesIsRefusedInWords) {
    const Xvfb server(320, 200, {}, 16);
    ASSERT_TRUE(server.running());
    const ScopedEnvironment environment("DISPLAY", server.display().c_str());
    forgetLog();
    ScreenshotClient client;
    EXPECT_EQ(captureScreen(&client), OK);
    EXPECT_EQ(client.getWidth(), 1280U) << "the test card stands in";
    EXPECT_EQ(loggedCount("(depth 16) has no pixels"), 1);
}

}  // namespace
}  // namespace zem::test
