#include "lock/LockInfo.h"
#include "webdav/LockDiscovery.h"

TEST(LockInfo, HasOneHolderAtATimeButAfterAMergeMayHaveBoth) {
    LockInfo info("/a", 1, 7);
    info.setLockedAnotherServer(true);
    EXPECT_EQ(info.processID, 0u);
    info.setServerLock(true);
    EXPECT_FALSE(info.lockedAnotherServer);
    info.lockDiscovery = std::make_shared<LockDiscovery>();
    info.setLockedAnotherServer(true);
    EXPECT_FALSE(info.serverLock);
    EXPECT_NE(info.lockDiscovery, nullptr);
    info.setServerLock(false);
    EXPECT_EQ(info.lockDiscovery, nullptr);

    LockInfo other("/b", 1, 8);
    info.count = 2;
    other.count = 3;
    other.serverLock = true;
    info.marge(other);
    EXPECT_EQ(info.count, 5);
    EXPECT_EQ(other.count, 0);
    EXPECT_TRUE(info.serverLock && info.lockedAnotherServer);
}
