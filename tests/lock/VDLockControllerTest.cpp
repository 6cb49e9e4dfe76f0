#include <atomic>
#include <thread>

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QTemporaryDir>

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
        timing.now = now;
        locks = newTable();
    }

    std::unique_ptr<VDLockController> newTable() {
        return std::make_unique<VDLockController>(session, "/Volumes/Test", "Test", timing,
                                                  journalFolder);
    }

    LockPtr lock(const QString &path = kPath) { return locks->lock(path, nullptr, forget()); }

    void lockAll(const QStringList &paths) {
        for (const QString &path : paths) {
            server.addFile(path, "x");
            ASSERT_TRUE(lock(path)) << path.toStdString();
        }
    }

    bool isLockedHereAndThere(const QString &path) const {
        const LockPtr held = locks->getDiscovery(path);
        return held && held->isLock && held->locktoken.toLatin1() == server.lockToken(path);
    }

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
    LockTiming timing{.now = {}, .pauseBetweenPasses = 5ms};
    QString journalFolder;
    std::unique_ptr<VDLockController> locks;
};

constexpr const char *kBothKinds[] = {"", "4.0"};

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

TEST_F(VDLockControllerTest, WhatAServerInTroubleKeptIsReleasedBeforeTheNextChange) {
    timing.pauseBetweenPasses = 1h;
    start("");
    const std::pair<const char *, std::function<void()>> changes[] = {
        {"lock", [&] { EXPECT_TRUE(lock("/other")); }},
        {"move or removal", [&] { EXPECT_TRUE(locks->locksAtOrBelow(kPath).isEmpty()); }},
    };
    for (const auto &[name, change] : changes) {
        SCOPED_TRACE(name);
        lockAll({kPath});
        server.fault({.method = "UNLOCK", .status = 500});
        EXPECT_TRUE(locks->unlock(kPath, nullptr));
        EXPECT_FALSE(locks->isLock(kPath));
        EXPECT_FALSE(server.lockToken(kPath).isNull());
        change();
        EXPECT_TRUE(server.lockToken(kPath).isNull());
    }
    // The name that a moved item had.
    lockAll({kPath});
    server.fault({.method = "UNLOCK", .path = kPath, .status = 503});
    locks->renameFrom(kPath, "/other");
    EXPECT_FALSE(server.lockToken(kPath).isNull());
    EXPECT_TRUE(locks->locksAtOrBelow(kPath).isEmpty());
    EXPECT_TRUE(server.lockToken(kPath).isNull());
}

// Nobody was told that the lock is there.
TEST_F(VDLockControllerTest, ALockThatNoAnswerToldOfIsReleasedOnceTheServerIsBack) {
    for (const bool served : {true, false}) {
        SCOPED_TRACE(served);
        start("");
        server.fault({.method = "LOCK", .close = true, .process = served});
        server.fault({.method = "LOCK", .close = true});  // sent again
        server.fault({.method = "PROPFIND", .times = Fault::kAlways, .close = true});
        EXPECT_EQ(lock(), nullptr);
        locks->unlock(kPath, nullptr);
        EXPECT_NE(server.lockToken(kPath).isNull(), served);
        // The question stays open, and must not take the new lock for the lost one.
        EXPECT_NE(lock() == nullptr, !served);
        server.clearFaults();
        server.clearRequests();
        ASSERT_TRUE(server.waitForRequests("PROPFIND", {}, 1));
        if (served)
            EXPECT_TRUE(waitUntil([&] { return server.lockToken(kPath).isNull(); }));
        else
            pass(0s);
        EXPECT_EQ(server.lockToken(kPath).isNull(), served);
        locks.reset();
    }
}

TEST_F(VDLockControllerTest, ALostConnectionDropsTheLockUntilTheFileIsLockedAgain) {
    for (const char *kind : kBothKinds) {
        SCOPED_TRACE(kind);
        start(kind);
        lock();
        for (const char *method : {"LOCK", "UNLOCK"})
            server.fault({.method = method, .times = Fault::kAlways, .close = true});
        clock += 150000;
        ASSERT_TRUE(waitUntil([&] { return person.alerts.size() == 1; }));
        EXPECT_FALSE(locks->isLock(kPath));
        server.clearFaults();
        person.alerts.clear();
        EXPECT_TRUE(lock()) << "what the server kept is released before";
        EXPECT_TRUE(isLockedHereAndThere(kPath));
        locks.reset();
        EXPECT_TRUE(server.lockToken(kPath).isNull());
    }
}

TEST_F(VDLockControllerTest, ALockThatCannotBeMarkedIsGivenBack) {
    for (const bool retaken : {false, true}) {
        for (const bool isAway : {false, true}) {
            SCOPED_TRACE(testing::Message() << retaken << isAway);
            start("3.9");
            if (retaken)
                lock();
            server.dropLock(kPath);
            server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .status = 403});
            if (isAway)
                server.fault({.method = "UNLOCK", .times = Fault::kAlways, .close = true});
            EXPECT_FALSE(retaken ? locks->retake(kPath) : lock() != nullptr);
            server.clearFaults();
            EXPECT_TRUE(waitUntil([&] { return server.lockToken(kPath).isNull(); }));
            locks.reset();
        }
    }
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

TEST_F(VDLockControllerTest, ANameIsOneLockInEveryFormAndIsAskedForInTheFirst) {
    start("");
    const QString name = QStringLiteral("/caf\u00e9");
    lockAll({name});
    EXPECT_TRUE(locks->lock(decomposed(name), nullptr, nullptr));
    locks->renameFrom(decomposed("/caf\u00e9"), "/th\u00e9");
    EXPECT_EQ(server.lastRequest("LOCK").target, "/th%C3%A9");
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(locks->unlock(decomposed("/th\u00e9"), nullptr));
    EXPECT_EQ(server.lastRequest("UNLOCK").target, "/th%C3%A9");
    EXPECT_FALSE(locks->isLock(composed("/th\u00e9")));
}

TEST_F(VDLockControllerTest, LocksGoWithTheFolderThatIsMoved) {
    for (const char *kind : kBothKinds) {
        SCOPED_TRACE(kind);
        start(kind);
        for (const char *folder : {"/d", "/d/e"})
            server.addFolder(folder);
        lockAll({"/d/x", "/d/e/x", "/d/e/x", "/d/lost", "/dx"});
        ASSERT_EQ(locks->locksAtOrBelow("/d").size(), 3);
        EXPECT_TRUE(session->fileMoveFrom("/d", "/n", true, locks->locksAtOrBelow("/d"), forget()));
        server.lockAs("/n/lost", "you");
        locks->renameFrom("/d", "/n");

        EXPECT_TRUE(isLockedHereAndThere("/n/x"));
        EXPECT_TRUE(isLockedHereAndThere("/n/e/x"));
        EXPECT_FALSE(locks->isLock("/n/lost"));
        EXPECT_TRUE(isLockedHereAndThere("/dx"));
        EXPECT_EQ(locks->locksAtOrBelow("/d").size(), 0);
        EXPECT_TRUE(locks->unlock("/n/e/x", nullptr));
        EXPECT_TRUE(isLockedHereAndThere("/n/e/x")) << "it has a second holder";
        EXPECT_TRUE(locks->unlock("/n/e/x", nullptr));
        EXPECT_TRUE(server.lockToken("/n/e/x").isNull());
        locks.reset();
        EXPECT_TRUE(server.lockToken("/n/x").isNull());
        server.dropLock("/n/lost");
    }
}

TEST_F(VDLockControllerTest, OnALockedItemTheHoldersOfBothAreOne) {
    start("");
    lockAll({"/from", "/from", "/to"});
    const auto both = locks->locksAtOrBelow("/from") + locks->locksAtOrBelow("/to");
    EXPECT_TRUE(session->fileMoveFrom("/from", "/to", true, both, forget()));
    locks->renameFrom("/from", "/to");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(locks->isLock("/to"));
        EXPECT_TRUE(locks->unlock("/to", nullptr));
    }
    EXPECT_FALSE(locks->isLock("/to"));
    EXPECT_TRUE(server.lockToken("/to").isNull());
}

TEST_F(VDLockControllerTest, AForgottenLockIsTakenAgainUnlessSomebodyElseHasIt) {
    for (const char *kind : kBothKinds) {
        SCOPED_TRACE(kind);
        start(kind);
        server.dropLock(kPath);
        lock();
        lock();
        server.dropLock(kPath);
        EXPECT_TRUE(locks->retake(kPath));
        EXPECT_TRUE(isLockedHereAndThere(kPath));
        EXPECT_TRUE(locks->unlock(kPath, nullptr));
        EXPECT_TRUE(locks->isLock(kPath));

        server.dropLock(kPath);
        server.lockAs(kPath, "you");
        EXPECT_FALSE(locks->retake(kPath));
        EXPECT_FALSE(locks->retake("/never"));
        locks.reset();
        EXPECT_EQ(server.lockOwner(kPath), "you");
    }
}

TEST_F(VDLockControllerTest, AWholeTreeIsReleasedOrForgotten) {
    start("");
    for (const bool forgets : {false, true}) {
        server.addFolder("/d");
        lockAll({"/d/x", "/d/x", "/d/y", "/dx"});
        server.clearRequests();
        forgets ? locks->forgetAtOrBelow("/d") : locks->releaseAtOrBelow("/d");
        EXPECT_EQ(server.countOf("UNLOCK"), forgets ? 0 : 2);
        EXPECT_EQ(server.lockToken("/d/x").isNull(), !forgets);
        EXPECT_FALSE(locks->isLock("/d/x") || locks->isLock("/d/y"));
        EXPECT_TRUE(isLockedHereAndThere("/dx"));
    }
}

// A killed process's journal is what it wrote, with nobody who holds the file.
TEST_F(VDLockControllerTest, WhatAKilledProcessLeftIsReleasedAndTheLivingKeepTheirs) {
    const QTemporaryDir home;
    journalFolder = home.filePath("m.locks");
    start("");
    const QDir folder(journalFolder);
    EXPECT_FALSE(folder.exists()) << "no lock, no journal";
    lockAll({"/a", "/b c", "/gone", "/alive"});
    locks->unlock("/gone", nullptr);
    const auto files = [&] { return folder.entryList(QDir::Files); };
    ASSERT_EQ(files().size(), 1);
    const QString living = folder.filePath(files().first());
    const auto ownersOnly =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    EXPECT_EQ(QFile::permissions(living), ownersOnly);
    EXPECT_EQ(QFile::permissions(journalFolder), ownersOnly | QFile::ExeOwner | QFile::ExeUser);

    const QString dead = folder.filePath("1ec9414c-232a-6b00-b3c8-9e6bdeced846");
    ASSERT_TRUE(QFile::copy(living, dead));
    locks->unlock("/alive", nullptr);
    QFile file(dead);
    ASSERT_TRUE(file.open(QIODevice::Append));
    const QByteArray elsewhere = "http://127.0.0.1:1/a t:elsewhere\n";
    file.write('+' + elsewhere + "+" + server.url("/torn").toUtf8() + " t:torn");
    file.close();
    lock("/alive");

    // A dead network, then one that works.
    server.fault({.method = "UNLOCK", .times = Fault::kAlways, .close = true});
    newTable().reset();
    EXPECT_EQ(files().size(), 2);
    server.clearFaults();
    server.clearRequests();
    auto next = newTable();
    EXPECT_TRUE(next->lock("/a", nullptr, forget())) << code();
    EXPECT_EQ(server.countOf("UNLOCK"), 3) << "of /a, /b c, and of /alive by its first token";
    EXPECT_TRUE(server.lockToken("/b c").isNull());
    EXPECT_TRUE(isLockedHereAndThere("/alive"));
    EXPECT_FALSE(QFile::exists(dead));
    EXPECT_EQ(files().size(), 2) << "the table's own and the living one";

    next.reset();
    locks.reset();
    EXPECT_FALSE(folder.exists());
}
