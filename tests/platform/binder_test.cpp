// Proves that services are found, replaced and waited for, and that shared blocks are dealt out and freed
// once each. Would catch a block freed under its next owner when a driver both deallocates it and drops its
// last reference, which the engine's teardown does with every buffer.
#include <binder/IServiceManager.h>
#include <binder/MemoryDealer.h>
#include <gtest/gtest.h>
#include <media/IMediaPlayerService.h>
#include <utils/String8.h>

#include <cstring>

#include "platform/linux/omx_host/media_player_service.h"
#include "platform/linux/omx_host/omx_host.h"
#include "tests/support/fake_clock.h"

using namespace android;

namespace {

TEST(Services, UnknownOneIsLookedForFiveTimesASecondApart) {
    const zem::test::FakeClock clock(1000);
    const sp<IServiceManager> services = defaultServiceManager();
    EXPECT_TRUE(services->getService(String16("nobody")) == nullptr);
    EXPECT_EQ(std::vector<int64_t>(4, 1000000), clock.sleeps());
}

TEST(Services, MediaPlayerIsBuiltInAndCanBeReplaced) {
    const String16 name("media.player");
    const sp<IServiceManager> services = defaultServiceManager();
    const sp<IBinder> builtIn = services->checkService(name);
    const sp<IMediaPlayerService> player = interface_cast<IMediaPlayerService>(builtIn);
    ASSERT_TRUE(player != nullptr && player->getOMX() != nullptr);
    EXPECT_TRUE(player->getOMX() == player->getOMX());  // one host for the process
    const sp<IOMX> other = zem::makeOmxHost({});
    ASSERT_EQ(OK, services->addService(name, zem::makeMediaPlayerService(other)->asBinder()));
    sp<IMediaPlayerService> found;
    ASSERT_EQ(OK, getService(name, &found));
    EXPECT_TRUE(found->getOMX() == other);
}

TEST(MemoryDealer, DealsAlignedBlocksUntilFull) {
    const sp<MemoryDealer> dealer = new MemoryDealer(4096, "test");
    sp<IMemory> first = dealer->allocate(33);
    const sp<IMemory> second = dealer->allocate(4000);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(33U, first->size());
    EXPECT_EQ(64, second->offset());
    EXPECT_EQ(static_cast<char*>(first->pointer()) + 64, second->pointer());
    memset(second->pointer(), 2, second->size());
    EXPECT_TRUE(dealer->allocate(33) == nullptr);  // 32 are left
    EXPECT_TRUE(dealer->allocate(0) == nullptr);
    EXPECT_TRUE(dealer->allocate(SIZE_MAX - 8) == nullptr);
    EXPECT_TRUE(dealer->allocate(32) != nullptr);  // at once free again: nobody keeps it
    first.clear();
    const sp<IMemory> gap = dealer->allocate(64);
    ASSERT_TRUE(gap != nullptr);
    EXPECT_EQ(0, gap->offset());
    const sp<MemoryDealer> impossible = new MemoryDealer(SIZE_MAX - 100);
    EXPECT_TRUE(impossible->allocate(32) == nullptr);
}

TEST(MemoryDealer, SecondFreeTouchesNobodyAndABlockOutlivesItsDealer) {
    sp<MemoryDealer> dealer = new MemoryDealer(4096);
    sp<IMemory> old = dealer->allocate(4096);
    dealer->deallocate(0);
    const sp<IMemory> next = dealer->allocate(4096);  // the same place
    ASSERT_TRUE(next != nullptr);
    old.clear();  // must not free it under the new owner
    EXPECT_TRUE(dealer->allocate(32) == nullptr);
    dealer.clear();
    memset(next->pointer(), 7, next->size());
}

TEST(Strings, AreFormattedAndConvertedBothWays) {
    EXPECT_STREQ("7 of 0x0b", String8::format("%d of 0x%02x", 7, 11).string());
    EXPECT_STREQ("\xE2\x82\xAC\xF0\x9F\x98\x80", String8(String16("\xE2\x82\xAC\xF0\x9F\x98\x80")).string());
    EXPECT_STREQ("cut\xEF\xBF\xBD\xEF\xBF\xBD", String8(String16("cut\xE2\x82")).string());
}

}  // namespace
