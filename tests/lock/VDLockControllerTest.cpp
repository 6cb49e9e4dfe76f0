#include <atomic>
#include <thread>

#include <QCoreApplication>
#include <QEventLoop>

#include "lock/VDLockController.h"
#include "webdav/SessionFixture.h"

using namespace std::chrono_literals;

namespace {

const QString kPath = QStringLiteral("/a");

class VDLockControllerTest : public SessionFixture {
  protected:
    void start(const QByteArray &velmoraVersion = "4.0") {
        connectAs("me", velmoraVersion);
        server.addFile(kPath, "x");
        const auto now = [this] {
            ++clockReads;
            return std::chrono::milliseconds(clock.load());
        };
        locks = std::make_unique<VDLockController>(
            session, "/Volumes/Test", "Test", LockTiming{.now = now, .pauseBetweenPasses = 5ms});
    }

    LockPtr lock() { return locks->lock(kPath, nullptr, forget()); }

    // Serves the main thread's events, which messages need, until the condition holds.
    static bool waitUntil(const std::function<bool()> &condition) {
        const auto limit = std::chrono::steady_clock::now() + 5s;
        while (!condition() && std::chrono::steady_clock::now() < limit)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return condition();
    }

    // Moves the clock and waits until the thread has looked at it twice, so that one look at least
    // was a whole one.
    void pass(std::chrono::milliseconds time) {
        clock += time.count();
        const int before = clockReads;
        ASSERT_TRUE(waitUntil([&] { return clockReads >= before + 2; }));
    }

    int locksAsked() const { return server.countOf("LOCK"); }

    std::atomic<qint64> clock{1000};
    std::atomic<int> clockReads{0};
    std::unique_ptr<VDLockController> locks;
};

}  // namespace

TEST_F(VDLockControllerTest, HoldersAreCountedAndOneLockIsTaken) {
    start();
    EXPECT_TRUE(locks->lockMeOnly(kPath));
    const auto first = lock();
    ASSERT_TRUE(first);
    EXPECT_TRUE(locks->lockMeOnly(kPath));
    EXPECT_EQ(lock(), first);
    EXPECT_FALSE(locks->lockMeOnly(kPath));
    EXPECT_EQ(locks->getDiscovery(kPath), first);
    EXPECT_EQ(locksAsked(), 1);
    EXPECT_EQ(server.lastRequest("LOCK").header("Timeout"), "Second-300");

    EXPECT_TRUE(locks->unlock(kPath, nullptr));
    EXPECT_TRUE(locks->isLock(kPath));
    EXPECT_EQ(server.countOf("UNLOCK"), 0);
    EXPECT_TRUE(locks->unlock(kPath, nullptr));
    EXPECT_FALSE(locks->isLock(kPath));
    EXPECT_FALSE(first->isLock);
    EXPECT_EQ(locks->getDiscovery(kPath), nullptr);
    EXPECT_TRUE(locks->unlock(kPath, nullptr));
    EXPECT_EQ(server.countOf("UNLOCK"), 1);
}

TEST_F(VDLockControllerTest, FailuresOfTheFirstLockArePosixErrors) {
    start();
    const std::pair<int, int> codes[] = {{423, EBUSY},  {404, ENOENT}, {403, EACCES}, {500, EACCES},
                                         {507, ENOSPC}, {400, EINVAL}, {418, EACCES}};
    for (const auto &[status, expected] : codes) {
        server.fault({.method = "LOCK", .status = status});
        EXPECT_EQ(lock(), nullptr);
        ASSERT_TRUE(failure);
        EXPECT_TRUE(failure->is(kPosixDomain, expected)) << status << " gave " << code();
        EXPECT_FALSE(locks->isLock(kPath));
        EXPECT_FALSE(locks->lockMeOnly(kPath)) << "the failed attempt stands in the table";
        EXPECT_TRUE(locks->unlock(kPath, nullptr));
        EXPECT_TRUE(locks->lockMeOnly(kPath));
    }
    EXPECT_EQ(server.countOf("UNLOCK"), 0);
}

TEST_F(VDLockControllerTest, ALockIsRenewedEvery150SecondsButNotDuringAnUpload) {
    start();
    const auto held = lock();
    pass(149999ms);
    EXPECT_EQ(locksAsked(), 1);
    pass(1ms);
    EXPECT_EQ(locksAsked(), 2);
    EXPECT_EQ(server.lastRequest("LOCK").header("If").split('(').value(1),
              "<" + held->locktoken.toLatin1() + ">)");

    locks->uploadStart(kPath);
    for (int i = 0; i < 3; ++i)
        pass(150s);
    EXPECT_EQ(locksAsked(), 2);
    locks->uploadEnd(kPath);
    pass(149s);
    EXPECT_EQ(locksAsked(), 2);
    pass(1s);
    EXPECT_EQ(locksAsked(), 3);
}

TEST_F(VDLockControllerTest, ARefusedRenewalDropsTheLockAndTells) {
    start();
    struct Row {
        Fault fault;
        const char *message;  // null: none
    };
    const Row rows[] = {
        {{.method = "LOCK", .times = Fault::kAlways, .close = true}, "VDLockController_3"},
        {{.method = "LOCK", .status = 423}, "VDLockController_0"},
        {{.method = "LOCK", .status = 404}, nullptr},
        {{.method = "LOCK", .status = 403}, "VDLockController_2"},
        {{.method = "LOCK", .status = 500}, "VDLockController_4"},
    };
    for (const Row &row : rows) {
        ASSERT_TRUE(lock());
        server.clearRequests();
        server.fault(row.fault);
        clock += 150000;
        ASSERT_TRUE(waitUntil([&] { return server.countOf("UNLOCK") == 1; }));
        ASSERT_TRUE(waitUntil([&] { return person.alerts.size() == (row.message ? 1 : 0); }));
        EXPECT_FALSE(locks->isLock(kPath));
        EXPECT_EQ(locks->getDiscovery(kPath), nullptr);
        server.clearFaults();
        if (row.message) {
            EXPECT_TRUE(person.alerts.takeFirst().text.startsWith(row.message));
        }
    }
}

TEST_F(VDLockControllerTest, ALockTakenOverBySomeoneElseIsLost) {
    start();
    lock();
    server.dropLock(kPath);
    server.lockAs(kPath, "you");
    server.fault(
        {.method = "LOCK",
         .status = 200,
         .body = "<D:prop xmlns:D='DAV:'><D:lockdiscovery>"
                 "<D:activelock><D:owner>you</D:owner></D:activelock></D:lockdiscovery></D:prop>"});
    clock += 150000;
    ASSERT_TRUE(waitUntil([&] { return !locks->isLock(kPath) && person.alerts.size() == 1; }));
    EXPECT_TRUE(person.alerts.first().text.startsWith("VDLockController_1"));
    EXPECT_EQ(server.lockOwner(kPath), "you");
}

TEST_F(VDLockControllerTest, ALockThatTheServerMayStillHoldStaysAndIsRenewed) {
    start();
    lock();
    server.fault({.method = "UNLOCK", .times = Fault::kAlways, .close = true});
    EXPECT_FALSE(locks->unlock(kPath, nullptr));
    server.clearFaults();
    EXPECT_TRUE(locks->isLock(kPath));
    pass(150s);
    EXPECT_EQ(locksAsked(), 2);

    server.fault({.method = "UNLOCK", .status = 423});
    EXPECT_TRUE(locks->unlock(kPath, nullptr));
    EXPECT_FALSE(locks->isLock(kPath));
}

TEST_F(VDLockControllerTest, DisposingReleasesEveryLock) {
    start();
    server.addFile("/b", "x");
    lock();
    for (int i = 0; i < 2; ++i)
        locks->lock("/b", nullptr, nullptr);
    locks->dispose();
    locks.reset();
    EXPECT_TRUE(server.lockToken(kPath).isNull());
    EXPECT_TRUE(server.lockToken("/b").isNull());
}

// The main thread ends the table while the table's thread has a message for it.
TEST_F(VDLockControllerTest, AMessageUnderWayDoesNotBlockTheEnd) {
    start();
    lock();
    server.fault({.method = "LOCK", .status = 403});
    clock += 150000;
    ASSERT_TRUE(server.waitForRequests("LOCK", {}, 2));
    locks.reset();
    EXPECT_LE(person.alerts.size(), 1);
}

TEST_F(VDLockControllerTest, AServerWithoutLocksGetsNoRequests) {
    server.setDialect([](TestServer::Dialect &d) { d.locking = false; });
    start("");
    const auto record = lock();
    ASSERT_TRUE(record);
    EXPECT_FALSE(record->isLock);
    EXPECT_EQ(lock(), record);
    pass(150s);
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(locks->unlock(kPath, nullptr));
    EXPECT_FALSE(locks->isLock(kPath));
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(VDLockControllerTest, ThreadsShareTheTable) {
    start();
    std::vector<std::thread> users;
    for (int i = 0; i < 4; ++i) {
        users.emplace_back([this, i] {
            for (int round = 0; round < 5; ++round) {
                EXPECT_TRUE(locks->lock(kPath, nullptr, nullptr));
                if (i == 0)
                    clock += 60000;
                locks->isLock(kPath);
                EXPECT_TRUE(locks->unlock(kPath, nullptr));
            }
        });
    }
    for (std::thread &user : users)
        user.join();
    EXPECT_FALSE(locks->isLock(kPath));
    EXPECT_TRUE(server.lockToken(kPath).isNull());
}
