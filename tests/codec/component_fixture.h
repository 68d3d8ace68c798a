// A device whose components the test scripts, and what it takes to see a codec wait for them and survive
// their refusals.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/codec/recorded_hand_off.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"
#include "tests/support/waiting.h"

namespace zem::test {

class ComponentTest : public testing::Test {
  protected:
    /// The device has these components; nothing was delivered or logged yet.
    void serve(std::vector<std::string> components) {
        mOmx = new FakeOmx(std::move(components));
        serveOmx(mOmx);
        forgetDeliveries();
        forgetLog();
    }
    /// Every input brings this output, the end of the stream none.
    void answerWith(const std::vector<uint8_t>& output) {
        auto* const omx = mOmx.get();  // not a reference: the handler is part of it
        omx->setInputHandler([omx, output](const SentInput& input) {
            if ((input.flags & OMX_BUFFERFLAG_EOS) == 0) {
                omx->queueOutput(output);
            }
        });
    }
    void expectNothingLeft() {
        EXPECT_EQ(mOmx->liveNodes(), 0);
        EXPECT_EQ(mOmx->liveBuffers(), 0);
    }
    /// A call's result on a thread of its own, after `wake` was called when it had begun to wait.
    static int blockedUntil(const std::function<int()>& call, const std::function<bool()>& hasBegun,
                            const std::function<void()>& wake) {
        auto result = std::async(std::launch::async, call);
        EXPECT_TRUE(eventually(hasBegun));
        EXPECT_EQ(result.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
        wake();
        return expectEnd(std::move(result));
    }
    /// Plays `session`, which tells whether all went well, once with each call to the component refused.
    void expectEachRefusalClean(const std::function<bool()>& session) {
        mOmx->forgetCalls();
        ASSERT_TRUE(session());
        const int calls = mOmx->callCount("");
        ASSERT_GT(calls, 20);
        for (int n = 1; n <= calls; ++n) {
            mOmx->refuseCall(n);
            session();
            mOmx->refuseCall(0);
            expectNothingLeft();
        }
        EXPECT_TRUE(session()) << "the next open works";
    }

    FakeClock mClock;
    android::sp<FakeOmx> mOmx;
};

}  // namespace zem::test
