// Proves that services are found, replaced and waited for, and that shared blocks are dealt out and
// freed once each. Would catch a block freed under its next owner when a driver both deallocates it
// and drops its last reference, which the engine's teardown does with every buffer.
#include <binder/IServiceManager.h>
#include <binder/MemoryDealer.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <media/IMediaPlayerService.h>
#include <sys/mman.h>

#include <cstring>

#include "platform/linux/omx_host/media_player_service.h"
#include "platform/linux/omx_host/omx_host.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"

using namespace android;

namespace {

const String16 kPlayer("media.player");

TEST(Services, UnknownOneIsLookedForFiveTimesASecondApart) {
    const zem::test::FakeClock clock(1000);
    const sp<IServiceManager> services = defaultServiceManager();
    EXPECT_TRUE(services->checkService(String16("nobody")) == NULL);
    EXPECT_TRUE(clock.sleeps().empty());
    EXPECT_TRUE(services->getService(String16("nobody")) == NULL);
    EXPECT_EQ(std::vector<int64_t>(4, 1000000), clock.sleeps());
    EXPECT_NE(OK, services->addService(kPlayer, NULL));
    EXPECT_NE(OK, services->addService(String16(), new BBinder));
}

TEST(Services, MediaPlayerIsBuiltInAndCanBeReplaced) {
    const sp<IServiceManager> services = defaultServiceManager();
    const sp<IBinder> builtIn = services->checkService(kPlayer);
    ASSERT_TRUE(builtIn != NULL && builtIn->isBinderAlive());
    const sp<IMediaPlayerService> player = interface_cast<IMediaPlayerService>(builtIn);
    ASSERT_TRUE(player != NULL && player->getOMX() != NULL);
    EXPECT_TRUE(player->asBinder() == builtIn);
    EXPECT_TRUE(player->getOMX() == player->getOMX());  // one host for the process

    const sp<IOMX> other = zem::makeOmxHost({});
    ASSERT_EQ(OK, services->addService(kPlayer, zem::makeMediaPlayerService(other)->asBinder()));
    sp<IMediaPlayerService> found;
    ASSERT_EQ(OK, getService(kPlayer, &found));
    EXPECT_TRUE(found->getOMX() == other);

    // What is no media player is not taken for one, nor is the right object under a wrong interface.
    ASSERT_EQ(OK, services->addService(kPlayer, new BBinder));
    EXPECT_EQ(NAME_NOT_FOUND, getService(kPlayer, &found));
    EXPECT_TRUE(interface_cast<IOMX>(builtIn) == NULL);
    EXPECT_TRUE(interface_cast<IOMX>(sp<IBinder>()) == NULL);
    ASSERT_EQ(OK, services->addService(kPlayer, builtIn));
}

TEST(MemoryDealer, DealsAlignedBlocksUntilFull) {
    const sp<MemoryDealer> dealer = new MemoryDealer(4096, "test");
    const sp<IMemory> first = dealer->allocate(33);
    const sp<IMemory> second = dealer->allocate(4000);
    ASSERT_TRUE(first != NULL && second != NULL);
    EXPECT_EQ(33U, first->size());
    EXPECT_EQ(0, first->offset());
    EXPECT_EQ(64, second->offset());
    auto* const base = static_cast<char*>(dealer->getMemoryHeap()->getBase());
    EXPECT_EQ(base + 64, second->pointer());
    memset(first->pointer(), 1, first->size());
    memset(second->pointer(), 2, second->size());
    EXPECT_EQ(1, base[32]);

    EXPECT_TRUE(dealer->allocate(33) == NULL);  // 32 are left
    EXPECT_TRUE(dealer->allocate(0) == NULL);
    EXPECT_TRUE(dealer->allocate(SIZE_MAX - 8) == NULL);
    EXPECT_TRUE(dealer->allocate(32) != NULL);  // at once free again: nobody keeps it
    EXPECT_TRUE(dealer->allocate(32) != NULL);
}

TEST(MemoryDealer, FirstGapThatFitsIsTaken) {
    const sp<MemoryDealer> dealer = new MemoryDealer(4096);
    sp<IMemory> blocks[4];
    for (sp<IMemory>& block : blocks) {
        block = dealer->allocate(1024);
    }
    blocks[0].clear();
    blocks[2].clear();
    const sp<IMemory> small = dealer->allocate(512);
    const sp<IMemory> large = dealer->allocate(1024);
    EXPECT_EQ(0, small->offset());
    EXPECT_EQ(2048, large->offset());
}

TEST(MemoryDealer, SecondFreeTouchesNobody) {
    zem::test::forgetLog();
    const sp<MemoryDealer> dealer = new MemoryDealer(4096);
    sp<IMemory> old = dealer->allocate(4096);
    dealer->deallocate(0);
    const sp<IMemory> next = dealer->allocate(4096);  // the same place
    ASSERT_TRUE(next != NULL);
    old.clear();  // must not free it under the new owner
    EXPECT_TRUE(dealer->allocate(32) == NULL);
    EXPECT_EQ(0, zem::test::loggedCount("nothing to free"));
    dealer->deallocate(32);
    EXPECT_EQ(1, zem::test::loggedCount("nothing to free at offset 32"));
}

TEST(MemoryDealer, BlockOutlivesItsDealer) {
    sp<MemoryDealer> dealer = new MemoryDealer(100, "test", 0);
    EXPECT_EQ(0U, dealer->getMemoryHeap()->getSize() % 4096);
    const sp<IMemory> block = dealer->allocate(100);
    dealer->deallocate(static_cast<size_t>(block->offset()));
    dealer.clear();
    memset(block->pointer(), 7, block->size());
    ssize_t offset = -1;
    size_t size = 0;
    EXPECT_TRUE(block->getMemory(&offset, &size) != NULL);
    EXPECT_EQ(0, offset);
    EXPECT_EQ(100U, size);
}

TEST(MemoryDealer, HeapThatCannotBeDealsNothing) {
    const sp<MemoryDealer> dealer = new MemoryDealer(SIZE_MAX - 100);
    EXPECT_EQ(MAP_FAILED, dealer->getMemoryHeap()->getBase());
    EXPECT_TRUE(dealer->allocate(32) == NULL);
}

}  // namespace
