#include "SessionFixture.h"

namespace {

const char *const kLockInfo =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:lockinfo xmlns:D=\"DAV:\">"
    "<D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
    "<D:owner>me</D:owner></D:lockinfo >";
const std::string kXmlType = "Content-Type: application/xml; charset=utf-8\n";

class LockTest : public SessionFixture {
  protected:
    void start(const QByteArray &version = "") {
        connectAs("me", version);
        server.addFile("/a", "x");
    }

    LockPtr lockFile(const QString &path, const LockPtr &previous = nullptr) {
        LockPtr lock;
        locked = session->fileLock(path, 300, previous, &lock, forget());
        return lock;
    }

    std::string token(const QString &path) const { return server.lockToken(path).toStdString(); }

    bool locked = false;
};

}  // namespace

TEST_F(LockTest, TheVendorsServerGetsItsForms) {
    start("4.0");
    server.addFile("/a b", "x");
    const LockPtr lock = lockFile("/a b");
    ASSERT_TRUE(locked);
    const std::string request = "LOCK /a%20b\n";
    const std::string depth = "Depth: 0\nTimeout: Second-300\n";
    EXPECT_EQ(wire(server.lastRequest()), request + depth + kLockInfo);
    EXPECT_EQ(lock->locktoken.toStdString(), token("/a b"));

    const LockPtr renewed = lockFile("/a b", lock);
    ASSERT_TRUE(locked);
    EXPECT_EQ(wire(server.lastRequest()),
              request + "If: <$S/a%20b>(<" + token("/a b") + ">)\n" + depth);
    EXPECT_EQ(renewed->locktoken, lock->locktoken);
    EXPECT_EQ(server.countOf("PROPPATCH"), 0);

    const std::string unlock = "UNLOCK /a%20b\nLock-Token: <" + token("/a b") + ">\n";
    EXPECT_TRUE(session->fileUnlock("/a b", renewed, forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(wire(server.lastRequest()), unlock);
}

TEST_F(LockTest, OtherServersGetTheStandardsForms) {
    start();
    server.setDialect([](TestServer::Dialect &d) { d.xmlNeedsContentType = true; });
    const LockPtr lock = lockFile("/a");
    ASSERT_TRUE(locked);
    const std::string owner = server.lockOwner("/a").toStdString();
    EXPECT_EQ(owner.find("me ("), 0);
    std::string info = kLockInfo;
    info.replace(info.find(">me<") + 1, 2, owner);
    EXPECT_EQ(wire(server.requests("LOCK").first()),
              "LOCK /a\nDepth: 0\nTimeout: Second-300\n" + kXmlType + info);
    EXPECT_EQ(wire(server.lastRequest()),
              "PROPPATCH /a\nIf: <$S/a> (<" + token("/a") + ">)\n" + kXmlType +
                  "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" "
                  "xmlns:Z=\"urn:velmora:properties\"><D:set><D:prop><Z:lockaccess>3</Z:lockaccess>"
                  "<Z:lockshare>0</Z:lockshare><Z:readonly>2</Z:readonly></D:prop></D:set>"
                  "</D:propertyupdate>");

    EXPECT_EQ(lockFile("/a", lock)->locktoken, lock->locktoken);
    EXPECT_EQ(wire(server.lastRequest("LOCK")),
              "LOCK /a\nIf: (<" + token("/a") + ">)\nDepth: 0\nTimeout: Second-300\n");
}

TEST_F(LockTest, SharedLocksSayWhatIsSharedAndTheShortFormAsksForNoTimeout) {
    start("3.9");
    LockPtr lock;
    ASSERT_TRUE(session->fileLock(server.url("/a"), 60, true, -1, -1, nullptr, &lock, &failure));
    EXPECT_TRUE(server.lastRequest("LOCK").body.contains("<D:lockscope><D:shared"));
    const RecordedRequest marks = server.lastRequest("PROPPATCH");
    EXPECT_TRUE(marks.body.contains("<Z:lockaccess>1</Z:lockaccess><Z:lockshare>1</Z:lockshare>"));
    EXPECT_EQ(marks.target, "/a");

    server.dropLock("/a");
    EXPECT_TRUE(session->fileLock("/a", &failure));
    EXPECT_FALSE(server.lastRequest("LOCK").has("Timeout"));
}

// Servers answer the release of a lock that ran out with 400 or 409.
TEST_F(LockTest, ALockThatRanOutIsTakenAnewAndItsReleaseSaysThatItIsGone) {
    start();
    const LockPtr old = lockFile("/a");
    server.dropLock("/a");
    EXPECT_TRUE(session->fileUnlock("/a", old, forget()));
    EXPECT_EQ(code(), 6);
    const LockPtr lock = lockFile("/a", old);
    EXPECT_TRUE(locked);
    EXPECT_EQ(lock->locktoken.toStdString(), token("/a"));
    EXPECT_NE(lock->locktoken, old->locktoken);
}

TEST_F(LockTest, SomeoneElsesLockStaysTheirs) {
    for (const char *version : {"", "4.0"}) {
        start(version);
        server.dropLock("/a");
        server.lockAs("/a", "you");
        lockFile("/a");
        EXPECT_FALSE(locked);
        EXPECT_EQ(code(), 3);

        // A listing told of the lock.
        const LockPtr theirs = session->getLock("/a", nullptr);
        ASSERT_TRUE(theirs);
        lockFile("/a", theirs);
        EXPECT_FALSE(locked);
        EXPECT_EQ(code(), *version ? 5 : 3);
        EXPECT_EQ(server.lastRequest("LOCK").has("If"), false) << "at the latest, the second try";
        EXPECT_FALSE(session->fileUnlock("/a", forget()));
        EXPECT_EQ(code(), 5);
        EXPECT_EQ(server.countOf("UNLOCK"), 0);
        EXPECT_EQ(server.lockOwner("/a"), "you");
    }
}

TEST_F(LockTest, ALockWhoseAnswerWasLostIsOursByItsOwner) {
    start();
    const Fault faults[] = {
        {.method = "LOCK", .times = Fault::kAlways, .close = true, .process = true},
        {.method = "LOCK", .close = true, .process = true},  // and sent again
        {.method = "LOCK", .status = 504, .process = true},
        {.method = "LOCK", .status = 200, .process = true},  // without the token
        {.method = "LOCK", .cutAfter = 30},
    };
    for (const bool tellsOwner : {true, false}) {
        server.setDialect([&](TestServer::Dialect &d) { d.echoOwner = tellsOwner; });
        for (const Fault &fault : faults) {
            SCOPED_TRACE(testing::Message() << tellsOwner << ' ' << &fault - faults);
            server.dropLock("/a");
            server.fault(fault);
            const LockPtr lock = lockFile("/a");
            server.clearFaults();
            ASSERT_EQ(locked, tellsOwner);
            EXPECT_NE(token("/a"), "");
            if (!locked)
                continue;
            EXPECT_EQ(code(), kNone);
            EXPECT_EQ(lock->locktoken.toStdString(), token("/a"));
            EXPECT_TRUE(session->fileUnlock("/a", lock, nullptr));
            EXPECT_EQ(token("/a"), "");
        }
    }
}

// Two programs with one login: the owner's name doesn't tell their locks apart.
TEST_F(LockTest, ALockThatThisSessionDidNotTakeIsSomeoneElsesUnderAnyName) {
    start();
    server.lockAs("/a", "me");
    const LockPtr theirs = session->getLock("/a", nullptr);
    ASSERT_TRUE(theirs);
    ASSERT_EQ(theirs->owner, "me");
    EXPECT_FALSE(session->isOwnLock(*theirs));
    lockFile("/a", theirs);
    EXPECT_EQ(code(), 3);
    EXPECT_FALSE(session->fileDelete("/a", {theirs}, forget()));
    EXPECT_EQ(code(), 3);
    EXPECT_FALSE(session->fileMoveFrom("/a", "/b", true, theirs, forget()));
    EXPECT_EQ(code(), 3);
    EXPECT_FALSE(session->fileUnlock("/a", theirs, forget()));
    EXPECT_EQ(code(), 5);
    for (const RecordedRequest &request : server.requests())
        EXPECT_FALSE(request.has("If")) << request.method.constData();
    EXPECT_EQ(server.countOf("UNLOCK"), 0);
}

TEST_F(LockTest, WithoutALockThereIsNothingToRelease) {
    start();
    EXPECT_FALSE(session->fileUnlock("/a", forget()));
    EXPECT_EQ(code(), 4);
    EXPECT_EQ(session->getLock("/missing", forget()), nullptr);
    EXPECT_EQ(code(), 6);
}

// Some servers leave the owner out of their answers.
TEST_F(LockTest, ALockIsOwnByItsTokenWhereTheOwnerIsNotEchoed) {
    start();
    server.setDialect([](TestServer::Dialect &d) { d.echoOwner = false; });
    const LockPtr lock = lockFile("/a");
    ASSERT_TRUE(locked) << code();
    lockFile("/a", lock);
    EXPECT_TRUE(locked);
    EXPECT_TRUE(session->fileUnlock("/a", forget())) << "by what a listing tells of it";
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(token("/a"), "");
}

TEST_F(LockTest, TheLockOfAMissingItemMakesItUnderAnEscapedOwner) {
    start();
    session->user = QStringLiteral("a<b>&c");
    const LockPtr lock = lockFile("/new");
    ASSERT_TRUE(locked) << code();
    EXPECT_EQ(lock->locktoken.toStdString(), token("/new"));
    EXPECT_TRUE(server.lockOwner("/new").startsWith("a&lt;b&gt;&amp;c ("));
}

TEST_F(LockTest, MarksMayBeRefusedByOthersButNotByTheVendorsServer) {
    struct Row {
        const char *version;
        int status;
        int code;
    };
    const Row rows[] = {
        {"", 403, kNone}, {"", 500, kNone}, {"3.9", 404, kNone}, {"3.9", 403, 7}, {"3.9", 423, 3}};
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.version << ' ' << row.status);
        start(row.version);
        server.dropLock("/a");
        server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .status = row.status});
        lockFile("/a");
        EXPECT_EQ(locked, row.code == kNone);
        EXPECT_EQ(code(), row.code);
        server.clearFaults();
    }
}

TEST_F(LockTest, AServerWithoutLocksIsNotAskedForThem) {
    server.setDialect([](TestServer::Dialect &d) { d.locking = false; });
    start();
    const LockPtr lock = lockFile("/a");
    EXPECT_TRUE(locked);
    ASSERT_TRUE(lock);
    EXPECT_FALSE(lock->isLock);
    EXPECT_TRUE(session->fileUnlock("/a", lock, forget()));
    EXPECT_EQ(server.requests().size(), 0);

    start("4.0");
    lockFile("/a");
    EXPECT_EQ(server.countOf("LOCK"), 1) << "the vendor's server is asked anyway";
}
