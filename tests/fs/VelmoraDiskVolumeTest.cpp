#include "VolumeFixture.h"
#include "webdav/Namespaces.h"

class Volume : public VolumeFixture {
  protected:
    void folderType(const QString &path, const QString &type) {
        server.setProperty(path, VelmoraNamespaceURI, "foldertype", type);
    }
    // The path whose quota was asked for, and the answer.
    QPair<QString, AttributeMap> quota(const QString &path) {
        server.clearRequests();
        const AttributeMap answer = disk->attributesOfFileSystemForPath(path, nullptr);
        for (const RecordedRequest &request : server.requests("PROPFIND"))
            if (request.has("X-KQ-GET-QUOTA"))
                return {request.path(), answer};
        return {QString(), answer};
    }
};

TEST_F(Volume, QuotaTextBecomesSizes) {
    const struct {
        const char *text;
        bool told;
        qint64 size;
        qint64 free;
    } cases[] = {
        {"100/1000", true, 1000, 900},
        {"2000/1000", true, 1000, 0},
        {"", false, 0, 0},
        {"100", false, 0, 0},
        {"0/0", true, 0, 0},
        {"-5/1000", true, 1000, 1000},
        {"-9223372036854775807/9223372036854775807", true, INT64_MAX, INT64_MAX},
        {"7/-1", true, 0, 0},
        {"1/5000000000/x", true, 5000000000, 4999999999},
    };
    server.makeVelmora();
    connect();
    int number = 0;
    for (const auto &one : cases) {
        server.setQuotaAnswer(one.text);
        const QString path = QStringLiteral("/folder%1").arg(number++);
        server.addFolder(path);
        const AttributeMap answer = quota(path).second;
        ASSERT_EQ(answer.contains(NSFileSystemSize), one.told) << one.text;
        EXPECT_EQ(answer.value(NSFileSystemSize).toLongLong(), one.size) << one.text;
        EXPECT_EQ(answer.value(NSFileSystemFreeSize).toLongLong(), one.free) << one.text;
    }
    server.clearRequests();
    disk->attributesOfFileSystemForPath("/folder0", nullptr);
    EXPECT_EQ(server.requests().size(), 0) << "an answer holds for a minute";
}

TEST_F(Volume, WhichFolderTheRootsQuotaIsTakenFrom) {
    const struct {
        const char *type;
        const char *opened;  // the last file opened, if any
        const char *primary;
        const char *expected;
    } cases[] = {
        {"root", nullptr, nullptr, "/%USER"},    {"root", nullptr, "home", "/home"},
        {"root", "/a/b/c/file", "home", "/a/b"}, {"root", "/file", "home", "/home"},
        {"primary", nullptr, "home", "/%USER"},  {"primary", "/a/b/file", "home", "/a"},
        {"primary", "/file", "home", "/"},       {"other", "/a/b/file", "home", "/"},
    };
    for (const auto &one : cases) {
        TestServer fresh;
        fresh.makeVelmora();
        fresh.addFile("/a/b/c/file", "x");
        fresh.addFile("/a/b/file", "x");
        fresh.addFile("/file", "x");
        fresh.setQuotaAnswer("1/2");
        fresh.setProperty("/", VelmoraNamespaceURI, "foldertype", one.type);
        if (one.primary)
            fresh.setOptionsHeader("X-KQ-Primary", one.primary);
        const auto info = std::make_shared<ASHttpConnectInfo>();
        info->username = "anna";
        const auto session = std::make_shared<VDWebDAVConnect>(info, fresh.url());
        ASSERT_TRUE(session->IsDAVServer(QString(), nullptr));
        const auto volume =
            std::make_shared<VelmoraDisk>(session, std::weak_ptr<MountOwner>(), "/Volumes/Q", "Q");
        HandlePtr handle;
        if (one.opened) {
            ASSERT_TRUE(volume->openFileAtPath(one.opened, O_RDONLY, &handle, nullptr));
        }
        fresh.clearRequests();
        volume->attributesOfFileSystemForPath("/", nullptr);
        QString asked;
        for (const RecordedRequest &request : fresh.requests("PROPFIND"))
            if (request.has("X-KQ-GET-QUOTA"))
                asked = request.path();
        EXPECT_EQ(asked, QString(one.expected).replace("%USER", "anna"))
            << one.type << " " << (one.opened ? one.opened : "");
        volume->mountError();
    }
}

TEST_F(Volume, AnOrdinaryServerTellsNoSizesAndIsNotAskedForThem) {
    server.addFile("/a", "x");
    connect();
    const auto [asked, answer] = quota("/");
    EXPECT_TRUE(asked.isNull());
    EXPECT_TRUE(answer.isEmpty());
}

TEST_F(Volume, WhatCannotBeWritten) {
    server.makeVelmora();
    for (const char *path : {"/share/a", "/primary/a", "/root/a", "/locked/a", "/plain/a"})
        server.addFile(path, "x");
    folderType("/share/a", "share");
    folderType("/primary", "primary");
    folderType("/root", "root");
    server.setWritableAnswer("/locked", "false");
    connect();
    const struct {
        const char *path;
        bool ownEntry;
        bool parentEntry;
        bool refused;
    } cases[] = {
        {"/share/a", true, true, true},  // a share itself
        {"/root/a", true, true, false},  // an item known by itself isn't judged by its folder
        {"/root/b", false, true, true},  // what isn't there yet is
        {"/primary/b", false, true, true},
        {"/locked/b", false, true, true},  // the server denied writing to the folder
        {"/plain/b", false, true, false},
    };
    for (const auto &one : cases) {
        const QString path = QString::fromUtf8(one.path);
        if (one.parentEntry) {
            ASSERT_EQ(attributesErrno(path.section('/', 0, -2)), 0);
        }
        if (one.ownEntry) {
            ASSERT_EQ(attributesErrno(path), 0);
        }
        server.clearRequests();
        EXPECT_EQ(disk->isCannotWrite(path), one.refused) << one.path;
        EXPECT_EQ(server.requests().size(), 0) << one.path;
    }
}

TEST_F(Volume, TheServerIsAskedWhereNothingIsKnown) {
    server.makeVelmora();
    server.addFile("/d/yes", "x");
    server.addFile("/d/no", "x");
    server.addFile("/denied/a", "x");
    server.setWritableAnswer("/d/no", "false");
    server.setWritableAnswer("/denied", "false");
    connect();
    EXPECT_FALSE(disk->isCannotWrite("/d/yes"));
    EXPECT_TRUE(disk->isCannotWrite("/d/no"));
    EXPECT_FALSE(disk->isCannotWrite("/d/missing"));
    EXPECT_TRUE(disk->isCannotWrite("/denied/missing"));
    server.fault({.method = "PROPFIND", .path = "/d/yes", .times = Fault::kAlways, .status = 403});
    EXPECT_TRUE(disk->isCannotWrite("/d/yes"));
}

TEST_F(Volume, ExtendedAttributes) {
    connect();
    std::optional<Error> failure;
    EXPECT_FALSE(disk->valueOfExtendedAttribute("com.apple.quarantine", "/a", 0, &failure));
    EXPECT_FALSE(failure);
    EXPECT_FALSE(disk->valueOfExtendedAttribute("user.other", "/a", 0, &failure));
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, ENOTSUP);
    EXPECT_EQ(server.requests().size(), 0);
}
