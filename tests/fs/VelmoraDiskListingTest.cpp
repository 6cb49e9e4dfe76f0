#include "VolumeFixture.h"

using Listing = VolumeFixture;

namespace {

QStringList sorted(std::optional<QStringList> names) {
    QStringList list = names.value_or(QStringList{QStringLiteral("no listing")});
    list.sort();
    return list;
}

}  // namespace

TEST_F(Listing, NamesThatNeverReachTheServer) {
    server.addFolder("/a");
    connect();
    const struct {
        const char *path;
        int expected;
        bool asked;
    } cases[] = {
        {"/VelmoraDiskUploadTemp_1", EACCES, false},
        {"/a/VelmoraDiskUploadTemp_1", EACCES, false},
        {"/a/Icon\r", EACCES, false},
        {"/.Trashes", EACCES, false},
        {"/.Trash-1000/files", EACCES, false},
        {"/back\\slash", EINVAL, false},
        {"/a/.Trash", ENOENT, true},
        {"/Icon", ENOENT, true},
        {"/._hidden", ENOENT, true},
        {"/.DS_Store", ENOENT, true},
    };
    for (const auto &one : cases) {
        server.clearRequests();
        EXPECT_EQ(attributesErrno(QString::fromUtf8(one.path)), one.expected) << one.path;
        EXPECT_EQ(server.requests().size() > 0, one.asked) << one.path;
    }
}

TEST_F(Listing, FailuresOfTheAttributeQuery) {
    const struct {
        int status;
        int expected;
        int requests;    // with the retries of server failures
        int secondTime;  // requests of a second query
        int secondErrno;
    } cases[] = {
        {403, EACCES, 1, 0, EACCES},       {404, ENOENT, 1, 0, ENOENT},
        {500, EHOSTDOWN, 5, 0, EHOSTDOWN}, {503, EHOSTDOWN, 5, 0, EHOSTDOWN},
        {401, EACCES, 1, 1, EACCES},       {418, EACCES, 1, 1, EACCES},
    };
    connect();
    // The folder is known, so that nobody asks whether the path could be written.
    ASSERT_EQ(attributesErrno("/"), 0);
    for (const auto &one : cases) {
        const QString path = QStringLiteral("/file%1").arg(one.status);
        server.addFile(path, "x");
        server.fault(
            {.method = "PROPFIND", .path = path, .times = Fault::kAlways, .status = one.status});
        server.clearRequests();
        EXPECT_EQ(attributesErrno(path), one.expected) << one.status;
        EXPECT_EQ(server.countOf("PROPFIND", path), one.requests) << one.status;
        server.clearRequests();
        EXPECT_EQ(attributesErrno(path), one.secondErrno) << one.status;
        EXPECT_EQ(server.countOf("PROPFIND", path), one.secondTime) << one.status;
    }
}

TEST_F(Listing, AServerOutOfReachIsToldApartFromAMissingFile) {
    server.addFile("/a", "x");
    connect();
    ASSERT_EQ(attributesErrno("/"), 0);
    server.goAway();
    EXPECT_EQ(attributesErrno("/a"), ENETUNREACH);
    server.comeBack();
    EXPECT_EQ(attributesErrno("/a"), ENETUNREACH) << "the answer holds, and is no \"missing\"";
}

TEST_F(Listing, AMalformedNameGivesNoErrorAtAll) {
    server.addFile("/a", "x");
    connect();
    server.fault({.method = "PROPFIND", .path = "/a", .status = 400});
    EXPECT_EQ(attributesErrno("/a"), -1);
}

TEST_F(Listing, ListsNamesAndKeepsThemOnAnEntryFromTheCache) {
    server.addFile("/d/b%20c", "1");
    server.addFile("/d/\u00e9", "1");
    server.addFolder("/d/e");
    connect();
    const QStringList expected{"b%20c", "e",
                               QStringLiteral("\u00e9").normalized(QString::NormalizationForm_D)};

    EXPECT_EQ(sorted(disk->contentsOfDirectoryAtPath("/d", nullptr)), expected);
    EXPECT_EQ(sorted(disk->contentsOfDirectoryAtPath("/d", nullptr)), expected);
    EXPECT_EQ(server.countOf("PROPFIND", "/d"), 2)
        << "nothing is kept on an entry that isn't in the cache";

    ASSERT_EQ(attributesErrno("/d"), 0);
    server.clearRequests();
    EXPECT_EQ(sorted(disk->contentsOfDirectoryAtPath("/d", nullptr)), expected);
    EXPECT_EQ(sorted(disk->contentsOfDirectoryAtPath("/d", nullptr)), expected);
    EXPECT_EQ(server.countOf("PROPFIND", "/d"), 1);

    // A name that turns out to be missing leaves the kept listing.
    server.remove("/d/e");
    ASSERT_EQ(attributesErrno("/d/e"), ENOENT);
    EXPECT_FALSE(sorted(disk->contentsOfDirectoryAtPath("/d", nullptr)).contains("e"));
}

TEST_F(Listing, AFailedListingHandsOnTheServersErrorAndMarksTheEntry) {
    const struct {
        int status;
        int code;
        int attributesAfter;
    } cases[] = {{403, 7, EACCES}, {404, 6, ENOENT}, {500, 11, 0}, {418, 13, 0}};
    connect();
    ASSERT_EQ(attributesErrno("/"), 0);
    for (const auto &one : cases) {
        const QString path = QStringLiteral("/folder%1").arg(one.status);
        server.addFolder(path);
        ASSERT_EQ(attributesErrno(path), 0);
        server.fault(
            {.method = "PROPFIND", .path = path, .times = Fault::kAlways, .status = one.status});
        std::optional<Error> failure;
        EXPECT_FALSE(disk->contentsOfDirectoryAtPath(path, &failure));
        ASSERT_TRUE(failure) << one.status;
        EXPECT_TRUE(failure->is(kConnectErrorDomain, one.code)) << one.status;
        EXPECT_EQ(attributesErrno(path), one.attributesAfter) << one.status;
    }
}

TEST_F(Listing, AListingTellsFoldersWhereTheServerMarksThem) {
    server.addFile("/d/file", "1");
    server.addFolder("/d/folder");
    connect();
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    EXPECT_EQ(disk->isKnownDirectory("/d/file"), false);
    EXPECT_EQ(disk->isKnownDirectory("/d/folder"), true);
    EXPECT_EQ(disk->isKnownDirectory("/d/other"), std::nullopt);
    EXPECT_EQ(disk->isKnownDirectory("/file"), std::nullopt);

    server.setDialect([](TestServer::Dialect &dialect) { dialect.folderSlash = false; });
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    EXPECT_EQ(disk->isKnownDirectory("/d/folder"), std::nullopt);
    ASSERT_EQ(attributesErrno("/d/folder"), 0);
    EXPECT_EQ(disk->isKnownDirectory("/d/folder"), true);
}

TEST_F(Listing, AttributesOfAFileAndAFolder) {
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(1500000000, Qt::UTC);
    server.addFile("/file", "12345", modified);
    server.addFolder("/folder", modified);
    connect();
    const auto file = disk->attributesOfItemAtPath("/file", nullptr, nullptr);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->value(NSFileType), NSFileTypeRegular);
    EXPECT_EQ(file->value(NSFileSize).toLongLong(), 5);
    EXPECT_EQ(file->value(NSFileModificationDate).toDateTime(), modified);
    const auto folder = disk->attributesOfItemAtPath("/folder", nullptr, nullptr);
    ASSERT_TRUE(folder);
    EXPECT_EQ(folder->value(NSFileType), NSFileTypeDirectory);
    EXPECT_FALSE(folder->contains(NSFileSize));
}

TEST_F(Listing, WordFiles) {
    EXPECT_TRUE(VelmoraDisk::isWordFile("/a/letter.docx"));
    EXPECT_TRUE(VelmoraDisk::isWordFile("/a/letter.doc"));
    EXPECT_FALSE(VelmoraDisk::isWordFile("/a.doc/letter.txt"));
    EXPECT_FALSE(VelmoraDisk::isWordFile("/doc"));
}

TEST_F(Listing, LooksAheadWhereAListedFoldersItemsAreAskedForOneByOne) {
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(1500000000, Qt::UTC);
    for (int number = 0; number < 20; ++number)
        server.addFile(QStringLiteral("/d/\u00e9 %1").arg(number), QByteArray(number, 'x'),
                       modified);
    server.addFolder("/d/folder");
    connect();
    const auto askAll = [&] {
        server.clearRequests();
        for (int number = 0; number < 20; ++number) {
            const auto attributes = disk->attributesOfItemAtPath(
                QStringLiteral("/d/\u00e9 %1").arg(number), nullptr, nullptr);
            ASSERT_TRUE(attributes) << number;
            EXPECT_EQ(attributes->value(NSFileType), NSFileTypeRegular);
            EXPECT_EQ(attributes->value(NSFileSize).toInt(), number);
            EXPECT_EQ(attributes->value(NSFileModificationDate).toDateTime(), modified);
        }
        EXPECT_EQ(disk->attributesOfItemAtPath("/d/folder", nullptr, nullptr)->value(NSFileType),
                  NSFileTypeDirectory);
    };
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    askAll();
    EXPECT_EQ(server.requests().size(), 2) << "one item by itself, then all of them";
    EXPECT_EQ(attributesErrno("/d/missing"), ENOENT);
}

TEST_F(Listing, LooksAheadOnlyWhereThatTellsSomething) {
    for (int number = 0; number < 10; ++number)
        server.addFile(QStringLiteral("/d/%1").arg(number), "x");
    connect();
    ASSERT_EQ(attributesErrno("/d"), 0);
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    server.clearRequests();
    for (int number = 0; number < 10; ++number)
        EXPECT_EQ(attributesErrno(QStringLiteral("/d/missing%1").arg(number)), ENOENT);
    EXPECT_EQ(server.countOf("PROPFIND", "/d"), 0) << "names that aren't in the folder";

    server.fault({.method = "PROPFIND", .path = "/d", .times = Fault::kAlways, .status = 403});
    for (int number = 0; number < 10; ++number)
        EXPECT_EQ(attributesErrno(QStringLiteral("/d/%1").arg(number)), 0);
    EXPECT_EQ(server.countOf("PROPFIND", "/d"), 1) << "a server that refuses isn't asked again";
}

TEST_F(Listing, AnItemThatAFoldersAnswerRefusesIsAskedForByItself) {
    for (const char *path : {"/d/a", "/d/b", "/d/c", "/d/e"})
        server.addFile(path, "x");
    connect();
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    server.fault({.method = "PROPFIND",
                  .path = "/d",
                  .status = 207,
                  .body = "<multistatus xmlns=\"DAV:\"><response><href>/d/</href>"
                          "<propstat><prop/><status>HTTP/1.1 200 OK</status></propstat></response>"
                          "<response><href>/d/b</href><status>HTTP/1.1 403 Forbidden</status>"
                          "</response></multistatus>"});
    server.fault({.method = "PROPFIND", .path = "/d/b", .status = 403});
    ASSERT_EQ(attributesErrno("/d/a"), 0);
    EXPECT_EQ(attributesErrno("/d/b"), EACCES);
}

TEST_F(Listing, LookingAheadChangesNothingThatIsKnown) {
    for (const char *path : {"/d/a", "/d/b", "/d/c", "/d/e", "/d/f"})
        server.addFile(path, "old");
    connect();
    ASSERT_EQ(attributesErrno("/d/a"), 0);
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    server.addFile("/d/a", "newer");
    ASSERT_EQ(attributesErrno("/d/b"), 0);
    ASSERT_EQ(attributesErrno("/d/c"), 0);
    EXPECT_EQ(disk->attributesOfItemAtPath("/d/a", nullptr, nullptr)->value(NSFileSize).toInt(), 3);
}

TEST_F(Listing, TheVendorsServerIsAskedItemByItem) {
    server.makeVelmora();
    for (int number = 0; number < 10; ++number)
        server.addFile(QStringLiteral("/d/%1").arg(number), "x");
    connect();
    ASSERT_TRUE(disk->contentsOfDirectoryAtPath("/d", nullptr));
    server.clearRequests();
    for (int number = 0; number < 10; ++number)
        ASSERT_EQ(attributesErrno(QStringLiteral("/d/%1").arg(number)), 0);
    EXPECT_EQ(server.countOf("PROPFIND"), 10);
}
