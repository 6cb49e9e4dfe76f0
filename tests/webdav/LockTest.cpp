#include "ItemsFixture.h"

namespace {

const char *const kLockInfo =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:lockinfo xmlns:D=\"DAV:\">"
    "<D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
    "<D:owner>me</D:owner></D:lockinfo >";

class LockTest : public ItemsFixture {
  protected:
    LockPtr lockFile(const QString &path, const LockPtr &previous = nullptr) {
        LockPtr lock;
        locked = session->fileLock(path, 300, previous, &lock, &error);
        return lock;
    }

    std::string token(const QString &path) const { return server.lockToken(path).toStdString(); }

    bool locked = false;
};

}  // namespace

TEST_F(LockTest, TheVendorsServerGetsItsForms) {
    connect("4.0");
    server.addFile("/a b", "x");
    const LockPtr lock = lockFile("/a b");
    ASSERT_TRUE(locked);
    EXPECT_EQ(wire(server.lastRequest()),
              std::string("LOCK /a%20b\nDepth: 0\nTimeout: Second-300\n") + kLockInfo);
    EXPECT_EQ(lock->locktoken.toStdString(), token("/a b"));

    const LockPtr renewed = lockFile("/a b", lock);
    ASSERT_TRUE(locked);
    EXPECT_EQ(wire(server.lastRequest()), "LOCK /a%20b\nIf: <$S/a%20b>(<" + token("/a b") +
                                              ">)\nDepth: 0\nTimeout: Second-300\n");
    EXPECT_EQ(renewed->locktoken, lock->locktoken);
    EXPECT_EQ(server.countOf("PROPPATCH"), 0);

    const std::string unlock = "UNLOCK /a%20b\nLock-Token: <" + token("/a b") + ">\n";
    EXPECT_TRUE(session->fileUnlock("/a b", renewed, &error));
    EXPECT_EQ(code(), "-");
    EXPECT_EQ(wire(server.lastRequest()), unlock);
}

TEST_F(LockTest, OtherServersGetTheStandardsForms) {
    connect();
    server.addFile("/a", "x");
    server.setDialect([](TestServer::Dialect &d) { d.xmlNeedsContentType = true; });
    const LockPtr lock = lockFile("/a");
    ASSERT_TRUE(locked);
    const std::string type = "Content-Type: application/xml; charset=utf-8\n";
    EXPECT_EQ(wire(server.requests("LOCK").first()),
              "LOCK /a\nDepth: 0\nTimeout: Second-300\n" + type + kLockInfo);
    EXPECT_EQ(wire(server.lastRequest()),
              "PROPPATCH /a\nIf: <$S/a> (<" + token("/a") + ">)\n" + type +
                  "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" "
                  "xmlns:Z=\"urn:velmora:properties\"><D:set><D:prop><Z:lockaccess>3</Z:lockaccess>"
                  "<Z:lockshare>0</Z:lockshare><Z:readonly>2</Z:readonly></D:prop></D:set>"
                  "</D:propertyupdate>");

    EXPECT_EQ(lockFile("/a", lock)->locktoken, lock->locktoken);
    EXPECT_TRUE(locked);
    EXPECT_EQ(wire(server.requests("LOCK").last()),
              "LOCK /a\nIf: (<" + token("/a") + ">)\nDepth: 0\nTimeout: Second-300\n");
}

TEST_F(LockTest, ALockWithoutTimeoutAsksForNone) {
    connect();
    server.addFile("/a", "x");
    EXPECT_TRUE(session->fileLock("/a", &error));
    EXPECT_FALSE(server.requests("LOCK").first().has("Timeout"));
}

TEST_F(LockTest, SharedLocksSayWhatIsShared) {
    connect("3.9");
    server.addFile("/a", "x");
    LockPtr lock;
    ASSERT_TRUE(session->fileLock(server.url("/a"), 60, true, -1, -1, nullptr, &lock, &error));
    EXPECT_TRUE(server.requests("LOCK").first().body.contains("<D:shared/>"));
    const QByteArray marks = server.lastRequest("PROPPATCH").body;
    EXPECT_TRUE(marks.contains("<Z:lockaccess>1</Z:lockaccess><Z:lockshare>1</Z:lockshare>"));
    EXPECT_EQ(server.lastRequest("PROPPATCH").target, "/a");
}

TEST_F(LockTest, StatusesBecomeCodes) {
    connect("4.0");
    server.addFile("/a", "x");
    const LockPtr lock = lockFile("/a");
    struct Row {
        int status;
        const char *lockCode;
        const char *unlockCode;
    };
    const Row rows[] = {
        {400, "18O", "18O"}, {401, "1", "1"},     {403, "7", "7"}, {404, "6", "6"},
        {409, "13", "13O"},  {412, "13", "13O"},  {423, "3", "3"}, {500, "12O", "12O"},
        {503, "11O", "11O"}, {507, "10O", "13O"},
    };
    for (const Row &row : rows) {
        server.fault({.times = Fault::kAlways, .status = row.status});
        error.reset();
        EXPECT_FALSE(session->fileLock("/a", &error));
        EXPECT_EQ(code(), row.lockCode) << row.status;
        error.reset();
        EXPECT_TRUE(session->fileUnlock("/a", lock, &error)) << row.status;
        EXPECT_EQ(code(), row.unlockCode) << row.status;
        server.clearFaults();
    }
    server.fault({.method = "UNLOCK", .times = Fault::kAlways, .close = true});
    error.reset();
    EXPECT_FALSE(session->fileUnlock("/a", lock, &error));
    EXPECT_EQ(code(), "0O");
}

TEST_F(LockTest, AnExpiredLockIsTakenAnew) {
    connect();
    server.addFile("/a", "x");
    const LockPtr old = lockFile("/a");
    server.dropLock("/a");
    const LockPtr lock = lockFile("/a", old);
    EXPECT_TRUE(locked);
    EXPECT_EQ(lock->locktoken.toStdString(), token("/a"));
    EXPECT_NE(lock->locktoken, old->locktoken);
}

// Servers answer the release of a lock that ran out with 400 or 409.
TEST_F(LockTest, ReleasingALostLockSaysThatItIsGone) {
    connect();
    server.addFile("/a", "x");
    const LockPtr lock = lockFile("/a");
    server.dropLock("/a");
    EXPECT_TRUE(session->fileUnlock("/a", lock, &error));
    EXPECT_EQ(code(), "6");
}

TEST_F(LockTest, SomeoneElsesLockStaysTheirs) {
    for (const char *version : {"", "4.0"}) {
        connect(version);
        const QString path = QStringLiteral("/a") + version;
        server.addFile(path, "x");
        server.lockAs(path, "you");
        error.reset();
        lockFile(path);
        EXPECT_FALSE(locked);
        EXPECT_EQ(code(), "3");

        // A listing told of the lock, and it is presented as if it were ours.
        const LockPtr theirs = session->getLock(path, nullptr);
        ASSERT_TRUE(theirs);
        error.reset();
        lockFile(path, theirs);
        EXPECT_FALSE(locked);
        EXPECT_EQ(code(), "5");
        error.reset();
        EXPECT_FALSE(session->fileUnlock(path, &error));
        EXPECT_EQ(code(), "5");
        EXPECT_EQ(server.countOf("UNLOCK"), 0);
        EXPECT_EQ(server.lockOwner(path), "you");
    }
}

TEST_F(LockTest, WithoutALockThereIsNothingToRelease) {
    connect();
    server.addFile("/a", "x");
    EXPECT_FALSE(session->fileUnlock("/a", &error));
    EXPECT_EQ(code(), "4");
    error.reset();
    EXPECT_EQ(session->getLock("/missing", &error), nullptr);
    EXPECT_EQ(code().left(1), "6");
}

// Some servers leave the owner out of their answers.
TEST_F(LockTest, ALockIsOwnByItsTokenWhereTheOwnerIsNotEchoed) {
    connect();
    server.setDialect([](TestServer::Dialect &d) { d.echoOwner = false; });
    server.addFile("/a", "x");
    const LockPtr lock = lockFile("/a");
    ASSERT_TRUE(locked) << code().toStdString();
    lockFile("/a", lock);
    EXPECT_TRUE(locked);
    EXPECT_TRUE(session->fileUnlock("/a", &error)) << "by what a listing tells of it";
    EXPECT_EQ(code(), "-");
    EXPECT_EQ(token("/a"), "");
}

TEST_F(LockTest, TheLockOfAMissingItemMakesIt) {
    connect();
    const LockPtr lock = lockFile("/new");
    EXPECT_TRUE(locked) << code().toStdString();
    EXPECT_EQ(lock->locktoken.toStdString(), token("/new"));
}

TEST_F(LockTest, MarksMayBeRefusedByOthersButNotByTheVendorsServer) {
    struct Row {
        const char *version;
        int status;
        bool locked;
        const char *code;
    };
    const Row rows[] = {{"", 403, true, "-"},
                        {"", 500, true, "-"},
                        {"3.9", 404, true, "-"},
                        {"3.9", 403, false, "7"},
                        {"3.9", 423, false, "3"}};
    for (const Row &row : rows) {
        connect(row.version);
        server.addFile("/a", "x");
        server.dropLock("/a");
        server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .status = row.status});
        error.reset();
        lockFile("/a");
        EXPECT_EQ(locked, row.locked) << row.version << ' ' << row.status;
        EXPECT_EQ(code(), row.code) << row.version << ' ' << row.status;
        server.clearFaults();
    }
}

TEST_F(LockTest, AServerWithoutLocksIsNotAskedForThem) {
    server.setDialect([](TestServer::Dialect &d) { d.locking = false; });
    connect();
    server.addFile("/a", "x");
    const LockPtr lock = lockFile("/a");
    EXPECT_TRUE(locked);
    ASSERT_TRUE(lock);
    EXPECT_FALSE(lock->isLock);
    EXPECT_TRUE(session->fileUnlock("/a", lock, &error));
    EXPECT_EQ(server.requests().size(), 0);

    connect("4.0");
    lockFile("/a");
    EXPECT_EQ(server.countOf("LOCK"), 1) << "the vendor's server is asked anyway";
}

TEST_F(LockTest, AnOwnerThatIsNoXmlTextIsEscaped) {
    connect();
    session->user = QStringLiteral("a<b>&c");
    server.addFile("/a", "x");
    lockFile("/a");
    EXPECT_TRUE(locked);
    EXPECT_EQ(server.lockOwner("/a"), "a&lt;b&gt;&amp;c");
}
