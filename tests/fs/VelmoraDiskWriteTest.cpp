#include <functional>
#include <thread>

#include "VolumeFixture.h"

namespace {

constexpr qint64 kMiB = 1 << 20;

class Writing : public VolumeFixture {
  protected:
    // Both kinds of server, each with a volume of its own.
    void onBoth(const std::function<void(bool velmora)> &test) {
        for (const bool velmora : {false, true}) {
            SCOPED_TRACE(velmora ? "the vendor's server" : "a standard server");
            if (velmora)
                server.makeVelmora();
            connect();
            test(velmora);
            disk->mountError();
        }
    }

    QByteArray ifOf(const char *method) { return server.lastRequest(method).header("If"); }
};

}  // namespace

// A PROPPATCH marks the lock for programs of the vendor's older servers, and is sent to others too.
TEST_F(Writing, RequestsOfANewFileAndOfAChangedOne) {
    onBoth([this](bool velmora) {
        const QString file = velmora ? "/dir/velmora" : "/dir/standard";
        server.addFolder("/dir");
        ASSERT_EQ(attributesErrno("/"), 0);
        ASSERT_EQ(attributesErrno("/dir"), 0);
        ASSERT_EQ(attributesErrno(file), ENOENT);
        asked();
        HandlePtr handle;
        ASSERT_TRUE(
            disk->createFileAtPath(file, {{NSFilePosixPermissions, 0644}}, 0, &handle, &failure));
        QStringList expected = {"LOCK " + file, "PROPPATCH " + file};
        if (velmora)
            expected.removeLast();
        EXPECT_EQ(asked().join(", "), expected.join(", "));
        EXPECT_EQ(write(file, handle, 0, "some"), 4);
        EXPECT_EQ(write(file, handle, 4, " bytes"), 6);
        EXPECT_EQ(sizeOf(file, handle), 10);
        EXPECT_EQ(read(file, handle, 2, 100), "me bytes");
        EXPECT_EQ(asked(), QStringList()) << "until the file is closed the server hears nothing";
        release(file, handle);
        const QByteArray token = ifOf("PUT");
        QStringList sent = asked();
        sent.removeAll("PROPFIND /");  // the quota
        EXPECT_EQ(sent, QStringList({"PUT " + file, "PROPFIND " + file, "UNLOCK " + file}));
        const QByteArray resource = server.url(velmora ? "/" : file).toUtf8();
        EXPECT_TRUE(token.startsWith('<' + resource + "> (<opaquelocktoken:")) << token.constData();
        EXPECT_EQ(server.content(file), "some bytes");

        server.addFile(file, "same bytes");  // a version that isn't here
        server.clearRequests();
        handle = open(file, O_WRONLY);
        ASSERT_TRUE(handle);
        // The lock may have waited for somebody else's change.
        expected.append("PROPFIND " + file);
        EXPECT_EQ(asked().join(", "), expected.join(", "));
        EXPECT_EQ(write(file, handle, 5, "BYTES!"), 6);
        EXPECT_EQ(asked(), QStringList({"GET " + file}));
        EXPECT_EQ(write(file, handle, 0, "S"), 1);
        release(file, handle);
        sent = asked();
        sent.removeAll("PROPFIND /");
        EXPECT_EQ(sent, QStringList({"PUT " + file, "PROPFIND " + file, "UNLOCK " + file}));
        EXPECT_EQ(server.content(file), "Same BYTES!");
        EXPECT_TRUE(server.lockToken(file).isNull());
    });
}

TEST_F(Writing, AHandleThatWroteNothingSendsNothing) {
    server.addFile("/file", "content");
    onBoth([this](bool) {
        for (const int mode : {O_WRONLY, O_RDWR}) {
            const HandlePtr handle = open("/file", mode);
            ASSERT_TRUE(handle);
            EXPECT_FALSE(server.lockToken("/file").isNull());
            release("/file", handle);
            EXPECT_TRUE(server.lockToken("/file").isNull());
        }
        EXPECT_EQ(server.countOf("PUT"), 0);
        const HandlePtr created = create("/created");
        release("/created", created);
        EXPECT_EQ(server.countOf("PUT"), 1) << "an empty file is a file";
        EXPECT_EQ(server.content("/created"), "");
        server.remove("/created");
    });
}

TEST_F(Writing, WhatCannotBeCreated) {
    server.addFile("/there", "x");
    server.addFolder("/folder");
    server.addFile("/busy", "x");
    server.lockAs("/busy", "somebody");
    connect();
    const QString longest = "/" + QString(247, 'n');
    const struct {
        QString path;
        Fault fault;
        int expected;
    } cases[] = {
        {"/there", {}, EEXIST},
        {"/folder", {}, EEXIST},
        {longest, {}, 0},
        {longest + "n", {}, ENAMETOOLONG},
        {"/" + QString(82, QChar(0x3042)) + "nn", {}, ENAMETOOLONG},
        {"/l423", {.method = "LOCK", .path = "/l423", .status = 423}, EBUSY},
        {"/l403", {.method = "LOCK", .path = "/l403", .status = 403}, EACCES},
        {"/l404", {.method = "LOCK", .path = "/l404", .status = 404}, ENOENT},
        {"/l507", {.method = "LOCK", .path = "/l507", .status = 507}, ENOSPC},
        {"/l400", {.method = "LOCK", .path = "/l400", .status = 400}, EINVAL},
        {"/l500", {.method = "LOCK", .path = "/l500", .status = 500}, EACCES},
    };
    for (const auto &one : cases) {
        if (one.fault.status)
            server.fault(one.fault);
        const HandlePtr handle = create(one.path);
        EXPECT_EQ(bool(handle), one.expected == 0) << one.path.toStdString();
        EXPECT_EQ(code(), one.expected) << one.path.toStdString();
        if (!handle && one.fault.status) {
            EXPECT_EQ(put(one.path, "later"), 0) << one.path.toStdString();
            EXPECT_EQ(server.content(one.path), "later") << one.path.toStdString();
        }
        if (handle)
            release(one.path, handle);
    }
    for (const int mode : {O_WRONLY, O_RDWR}) {
        EXPECT_FALSE(open("/busy", mode));
        EXPECT_EQ(code(), EBUSY);
    }
    EXPECT_TRUE(open("/busy", O_RDONLY)) << "who only reads needs no lock";
}

TEST_F(Writing, WhatAFolderForbids) {
    server.makeVelmora();
    server.addFile("/locked/file", "x");
    server.setWritableAnswer("/locked", "false");
    server.setWritableAnswer("/locked/file", "false");
    connect();
    attributesErrno("/locked");
    const HandlePtr reader = open("/locked/file", O_RDONLY);
    EXPECT_TRUE(reader) << "reading is never refused so";
    EXPECT_FALSE(create("/locked/new"));
    EXPECT_EQ(code(), EROFS);
    EXPECT_FALSE(disk->createDirectoryAtPath("/locked/dir", {}, &failure));
    EXPECT_EQ(code(), EROFS);
    EXPECT_EQ(server.countOf("LOCK") + server.countOf("MKCOL"), 0);
}

TEST_F(Writing, HandlesDoWhatTheyWereOpenedFor) {
    server.addFile("/file", "content");
    connect();
    const HandlePtr reader = open("/file", O_RDONLY);
    EXPECT_EQ(write("/file", reader, 0, "x"), -1);
    EXPECT_EQ(code(), EACCES);
    const HandlePtr neither = open("/file", 3);
    EXPECT_EQ(write("/file", neither, 0, "x"), -1);
    EXPECT_EQ(code(), EACCES);
    const HandlePtr writer = open("/file", O_WRONLY);
    EXPECT_TRUE(read("/file", writer, 0, 1).isNull());
    EXPECT_EQ(code(), EACCES);
    EXPECT_EQ(write("/file", nullptr, 0, "x"), -1);
    EXPECT_EQ(code(), EIO);
    for (const HandlePtr &handle : {reader, neither, writer})
        release("/file", handle);
    EXPECT_EQ(server.content("/file"), "content");
}

// Where a write lands, over what was there.
TEST_F(Writing, WritesAtAnyPlace) {
    const QByteArray big = TestServer::generatedBytes(0, 3 * kMiB + 5);
    const struct {
        QByteArray before;
        QList<QPair<qint64, QByteArray>> writes;
        QByteArray after;
    } cases[] = {
        {"", {{0, "first"}}, "first"},
        {"abcdef", {{2, "XY"}}, "abXYef"},
        {"abcdef", {{6, "gh"}, {8, "i"}}, "abcdefghi"},
        {"ab", {{4, "z"}}, QByteArray("ab\0\0z", 5)},
        {big, {{big.size(), "end"}}, big + "end"},
        {big,
         {{0, "begin"}, {2 * kMiB, "middle"}},
         "begin" + big.mid(5, 2 * kMiB - 5) + "middle" + big.mid(2 * kMiB + 6)},
    };
    onBoth([&](bool velmora) {
        int number = 0;
        for (const auto &one : cases) {
            const QString path = QStringLiteral("/%1-%2").arg(velmora).arg(number++);
            SCOPED_TRACE(path.toStdString());
            server.addFile(path, one.before);
            const HandlePtr handle = open(path, O_RDWR);
            ASSERT_TRUE(handle);
            for (const auto &[offset, data] : one.writes)
                EXPECT_EQ(write(path, handle, offset, data), data.size());
            EXPECT_EQ(read(path, handle, 0, int(one.after.size()) + 10), one.after);
            EXPECT_EQ(sizeOf(path), one.after.size());
            release(path, handle);
            EXPECT_EQ(server.content(path), one.after);
            const HandlePtr reader = open(path);
            EXPECT_EQ(read(path, reader, 0, int(one.after.size()) + 10), one.after);
            release(path, reader);
        }
    });
}

// A copy of the server's content that came in pieces of two versions would be neither.
TEST_F(Writing, TheServersContentIsCopiedWholeOrNotAtAll) {
    const QByteArray content = TestServer::generatedBytes(0, 20 * kMiB);
    const Fault faults[] = {
        {.method = "GET", .times = Fault::kAlways, .status = 500},
        {.method = "GET", .times = Fault::kAlways, .status = 404},
        {.method = "GET", .times = Fault::kAlways, .after = 1, .status = 403},
        {.method = "GET", .times = Fault::kAlways, .after = 1, .close = true},
        {.method = "GET", .times = Fault::kAlways, .after = 1, .cutAfter = 70000},
        {.method = "GET", .times = Fault::kAlways, .status = 200, .body = "another file"},
        {.method = "GET", .times = Fault::kAlways, .lengthDelta = -10},
    };
    connect();
    int number = 0;
    for (const Fault &fault : faults) {
        const QString path = QStringLiteral("/file%1").arg(number++);
        SCOPED_TRACE(path.toStdString());
        server.addFile(path, content);
        const HandlePtr handle = open(path, O_RDWR);
        ASSERT_TRUE(handle);
        server.fault(fault);
        EXPECT_EQ(write(path, handle, 10, "change"), -1);
        EXPECT_NE(code(), 0);
        server.clearFaults();
        EXPECT_EQ(write(path, handle, 10, "change"), 6) << "the next try starts over";
        release(path, handle);
        EXPECT_TRUE(server.content(path) == content.left(10) + "change" + content.mid(16));
    }
}

TEST_F(Writing, AFailedFirstWriteLeavesTheServersFileAlone) {
    server.addFile("/file", "content");
    connect();
    const HandlePtr handle = open("/file", O_RDWR);
    server.fault({.method = "GET", .times = Fault::kAlways, .status = 500});
    EXPECT_EQ(write("/file", handle, 0, "x"), -1);
    release("/file", handle);
    server.clearFaults();
    EXPECT_EQ(server.countOf("PUT"), 0);
    EXPECT_EQ(server.content("/file"), "content");
    EXPECT_TRUE(server.lockToken("/file").isNull());
    const HandlePtr reader = open("/file");
    EXPECT_EQ(read("/file", reader, 0, 100), "content");
}

// Somebody else wrote the file after this volume last looked at it: their bytes stay.
TEST_F(Writing, AStaleRecordLosesNobodysBytes) {
    const QByteArray longer = TestServer::generatedBytes(0, 200000);
    const struct {
        const char *what;
        QByteArray now;
    } cases[] = {{"longer", longer}, {"shorter", "ab"}, {"as long", "ABCDEFGHIJ"}, {"empty", ""}};
    onBoth([&](bool velmora) {
        for (const auto &one : cases) {
            const QString path = QString("/%1 %2").arg(one.what).arg(velmora);
            SCOPED_TRACE(path.toStdString());
            server.addFile(path, "0123456789", QDateTime::currentDateTimeUtc().addSecs(-60));
            ASSERT_EQ(attributesErrno(path), 0);
            server.addFile(path, one.now);
            const HandlePtr handle = open(path, O_RDWR);
            ASSERT_TRUE(handle);
            // What an append asks for first.
            EXPECT_EQ(sizeOf(path, handle), one.now.size());
            EXPECT_EQ(write(path, handle, sizeOf(path, handle), "+mine"), 5);
            release(path, handle);
            EXPECT_TRUE(server.content(path) == one.now + "+mine");
        }
    });
}

TEST_F(Writing, AnotherVersionWhileTheFirstWriteCopies) {
    const QByteArray first(20 * kMiB, '1');
    const QByteArray second(18 * kMiB, '2');
    server.setDialect([](TestServer::Dialect &dialect) { dialect.locking = false; });
    server.addFile("/file", first, QDateTime::currentDateTimeUtc().addSecs(-60));
    connect();
    const HandlePtr handle = open("/file", O_RDWR);
    ASSERT_TRUE(handle);
    server.fault(
        {.method = "GET", .path = "/file", .after = 1, .delay = std::chrono::milliseconds(300)});
    std::thread other([&] {
        server.waitForRequests("GET", "/file", 2);
        server.addFile("/file", second);
    });
    const int written = write("/file", handle, 3, "mine");
    other.join();
    release("/file", handle);
    const QByteArray now = server.content("/file");
    if (written == 4) {
        EXPECT_TRUE(now == "222mine" + second.mid(7) || now == "111mine" + first.mid(7));
    } else {
        EXPECT_TRUE(now == second);
    }
}

TEST_F(Writing, AServerWithoutLocksIsWrittenWithout) {
    server.setDialect([](TestServer::Dialect &dialect) { dialect.locking = false; });
    server.addFile("/file", "content");
    connect();
    EXPECT_EQ(put("/file", "C"), 0);
    EXPECT_EQ(put("/new", "new"), 0);
    EXPECT_EQ(server.content("/file"), "Content");
    EXPECT_EQ(server.content("/new"), "new");
    EXPECT_EQ(server.countOf("LOCK") + server.countOf("UNLOCK"), 0);
}

// Several handles of one path share the content, whoever closes first.
TEST_F(Writing, TwoHandlesOfOneFile) {
    enum Step { kReadFirst, kOtherWriter };
    connect();
    for (const Step step : {kReadFirst, kOtherWriter}) {
        for (const bool created : {true, false}) {
            for (const bool ownerClosesFirst : {true, false}) {
                const QString path =
                    QString("/f%1%2%3").arg(step).arg(created).arg(ownerClosesFirst);
                SCOPED_TRACE(path.toStdString());
                if (!created)
                    server.addFile(path, "before");
                const HandlePtr owner = created ? create(path) : open(path, O_RDWR);
                ASSERT_TRUE(owner);
                EXPECT_EQ(write(path, owner, 0, "ABCDEF"), 6);
                const HandlePtr other = open(path, step == kReadFirst ? O_RDONLY : O_RDWR);
                ASSERT_TRUE(other);
                EXPECT_EQ(read(path, other, 0, 10), "ABCDEF");
                QByteArray expected = "ABCDEF";
                if (step == kOtherWriter) {
                    EXPECT_EQ(write(path, other, 6, "ghi"), 3);
                    expected += "ghi";
                }
                const HandlePtr first = ownerClosesFirst ? owner : other;
                const HandlePtr last = ownerClosesFirst ? other : owner;
                release(path, first);
                EXPECT_EQ(read(path, last, 0, 10), expected)
                    << "the other's close takes nothing away";
                if (last == owner || step == kOtherWriter) {
                    EXPECT_EQ(write(path, last, expected.size(), "!"), 1);
                    expected += "!";
                }
                EXPECT_EQ(sizeOf(path, last), expected.size());
                release(path, last);
                EXPECT_EQ(server.content(path), expected);
                EXPECT_TRUE(server.lockToken(path).isNull());
                const HandlePtr again = open(path);
                EXPECT_EQ(read(path, again, 0, 100), expected);
                release(path, again);
            }
        }
    }
}

TEST_F(Writing, WhatTheVolumeTellsAfterAWrite) {
    server.addFile("/file", "content", QDateTime::currentDateTimeUtc().addSecs(-3600));
    connect();
    disk->contentsOfDirectoryAtPath("/", nullptr);
    attributesErrno("/");
    const QDateTime start = QDateTime::currentDateTimeUtc().addSecs(-2);
    ASSERT_EQ(put("/file", "longer content"), 0);
    ASSERT_EQ(put("/new", "1234"), 0);
    EXPECT_EQ(sizeOf("/file"), 14);
    EXPECT_EQ(sizeOf("/new"), 4);
    for (const char *path : {"/file", "/new"}) {
        const auto attributes = disk->attributesOfItemAtPath(path, nullptr, nullptr);
        ASSERT_TRUE(attributes);
        EXPECT_GE(attributes->value(NSFileModificationDate).toDateTime(), start) << path;
    }
    const auto names = disk->contentsOfDirectoryAtPath("/", nullptr);
    ASSERT_TRUE(names);
    EXPECT_TRUE(names->contains("new"));
}
