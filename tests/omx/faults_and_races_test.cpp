// Messages and callbacks while the interface goes. Would catch: a message into a freed interface,
// memory unmapped under a callback, an interface freed under a callback of its own. Meant above all
// for the sanitizer builds.
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

using RaceTest = OmxTest;

TEST_F(RaceTest, MessagesRaceWithDestruction) {
    for (int i = 0; i < 20; i++) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        const auto in = mOmx->buffers(0);
        const auto out = mOmx->buffers(1);
        std::atomic<bool> stop{false};
        std::thread sender([&] {
            while (!stop) {
                mOmx->sendFilled(out[0], 16);
                mOmx->sendEmptied(in[0]);
                mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandStateSet, OMX_StateExecuting);
                mOmx->sendFilled(out[1], 4096, OMX_BUFFERFLAG_EOS);
                mOmx->waitDelivered();
            }
        });
        if (i % 2 == 0) {
            component->deInit(true);
        }
        component.reset();
        stop = true;
        sender.join();
    }
    mOmx->sendFilled(1, 1);  // long after freeNode
    mOmx->waitDelivered();
    EXPECT_EQ(0, mOmx->liveNodes());
}

/// Callbacks that stay inside until they are let go, and only then read what they were given.
struct Slow {
    static int output(void* /*interface*/, void* data, unsigned int length, void* user) {
        auto* self = static_cast<Slow*>(user);
        input(nullptr, user);
        const auto* bytes = static_cast<const uint8_t*>(data);
        self->read.assign(bytes, bytes + length);
        return 0;
    }
    static int input(void* /*interface*/, void* user) {
        auto* self = static_cast<Slow*>(user);
        self->entered.set_value();
        self->leave.get_future().wait();
        return 0;
    }
    std::promise<void> entered;
    std::promise<void> leave;
    Outputs::Unit read;
};

TEST_F(RaceTest, InterfaceAndBuffersOutliveTheCallbackUnderWay) {
    for (const char* when : {"emptied", "filled, stopped", "filled, abandoned"}) {
        auto component = std::make_unique<BareComponent>();
        start(*component);
        Slow slow;
        const bool emptied = when[0] == 'e';
        if (emptied) {
            component->registerInputCallback(Slow::input, &slow);
            mOmx->sendEmptied(mOmx->buffers(0)[0]);
        } else {
            component->registerOutputCallback(Slow::output, &slow);
            mOmx->queueOutput({1, 2, 3});
        }
        slow.entered.get_future().wait();
        if (!emptied) {
            // A second one: the message thread now waits for the queue, which the callback holds.
            mOmx->sendFilled(mOmx->heldBuffers(1)[0], 1);
            const bool abandoned = when[8] == 'a';
            EXPECT_EQ(abandoned ? 33 : 0, component->deInit(abandoned));
            EXPECT_EQ(0, mOmx->liveBuffers());
        }
        auto deletion = std::async(std::launch::async, [&] { component.reset(); });
        EXPECT_EQ(std::future_status::timeout, deletion.wait_for(std::chrono::milliseconds(20))) << when;
        slow.leave.set_value();
        ASSERT_EQ(std::future_status::ready, deletion.wait_for(kSoon)) << when;
        EXPECT_EQ(emptied ? Outputs::Unit{} : (Outputs::Unit{1, 2, 3}), slow.read);
    }
}

}  // namespace
}  // namespace zem::test
