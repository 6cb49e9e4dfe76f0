#include <QFile>
#include <QTemporaryDir>

#include "../webdav/SessionFixture.h"
#include "model/WebDavResource.h"
#include "webdav/Namespaces.h"
#include "webdav/WebPublicParameter.h"

namespace {

const QDateTime kDate = QDateTime::fromSecsSinceEpoch(1704164645, Qt::UTC);

class ItemFromServer : public SessionFixture {
  protected:
    std::shared_ptr<WebDavResource> read(const QString &path) {
        return WebDavResource::createWebDAVItem(*session, session->serverUrl, path);
    }
};

TEST_F(ItemFromServer, AsAStandardServerTellsIt) {
    const QString path = QStringLiteral("/a b%41+é.txt");
    server.addFile(path, "12345", kDate);
    server.addFolder("/folder");
    const QByteArray token = server.lockAs(path, "taro");
    connect();
    const auto file = read(path);
    ASSERT_FALSE(file->error);
    EXPECT_EQ(file->contentType, 1);
    EXPECT_EQ(file->fileSize, 5);
    EXPECT_EQ(file->fileLastModified, kDate);
    EXPECT_EQ(file->relativePath, path);
    EXPECT_EQ(file->serverRoot, session->serverUrl);
    EXPECT_FALSE(file->permissionReadOnly);
    EXPECT_EQ(file->lockType, 2);
    ASSERT_TRUE(file->lockDiscovery);
    EXPECT_EQ(file->lockDiscovery->locktoken.toUtf8(), token);
    EXPECT_EQ(read("/folder")->contentType, 0);
}

TEST_F(ItemFromServer, AsksTheVendorsServerForEverything) {
    server.addFile("/a", "1");
    server.setProperty("/a", VelmoraNamespaceURI, "MD5", "ab12");
    server.setProperty("/a", kDavNamespaceURI, "creationuser", "<D:href>/users/taro</D:href>");
    connectToVelmora();
    // Only the exact word denies writing.
    for (const char *answer : {"false", "FALSE", "0", ""}) {
        server.setWritableAnswer("/a", answer);
        EXPECT_EQ(read("/a")->permissionReadOnly, answer == QByteArray("false")) << answer;
    }
    const auto item = read("/a");
    EXPECT_EQ(item->md5, "ab12");
    EXPECT_EQ(item->creationUser, "taro");
    const RecordedRequest request = server.lastRequest("PROPFIND");
    EXPECT_TRUE(request.has("X-KQ-CHECK-WRITABLE"));
    EXPECT_THAT(request.body.toStdString(), testing::HasSubstr(":report/></D:prop></D:propfind>"));
}

TEST_F(ItemFromServer, AFailureIsARecordWithAnError) {
    connect();
    const auto item = read("/nowhere");
    ASSERT_TRUE(item->error);
    EXPECT_TRUE(item->error->is(kConnectErrorDomain, 6));
    EXPECT_TRUE(item->relativePath.isNull());
}

TEST_F(ItemFromServer, ABrokenAnswerIsNoEmptyFileExceptOfTheVendorsServer) {
    server.addFile("/a", "12345");
    connect();
    server.fault({.method = "PROPFIND", .path = "/a", .status = 200, .body = "<html><p/></html>"});
    EXPECT_TRUE(read("/a")->error);
    for (const QByteArray body : {"<m><response>", "garbage"}) {
        server.fault({.method = "PROPFIND", .path = "/a", .status = 207, .body = body});
        const auto item = read("/a");
        EXPECT_TRUE(item->error && item->error->is(kConnectErrorDomain, 15)) << body.constData();
    }
    connectToVelmora();
    server.fault({.method = "PROPFIND", .path = "/a", .status = 207, .body = "<m><response>"});
    const auto item = read("/a");
    EXPECT_FALSE(item->error);
    EXPECT_EQ(item->contentType, 1);
    EXPECT_EQ(item->relativePath, "/a");
}

TEST_F(ItemFromServer, OperationsHeedTheStateBefore) {
    server.addFile("/a", "1");
    connectToVelmora();
    WebDavResource item;
    item.relativePath = "/a";

    item.lockType = 1;
    item.fileLockOperate(*session, true);
    item.fileLockOperate(*session, false);
    item.fileReadOnlyOperate(*session, true);
    item.lockType = 2;
    item.fileReadOnlyOperate(*session, false);
    EXPECT_EQ(server.requests().size(), 0);

    // A refused lock changes the field all the same, a refused mark doesn't.
    server.fault({.method = "LOCK", .status = 403});
    item.lockType = 0;
    item.fileLockOperate(*session, true);
    EXPECT_EQ(item.lockType, 2);
    server.fault({.method = "ACL", .status = 403});
    item.lockType = 0;
    item.fileReadOnlyOperate(*session, true);
    EXPECT_EQ(item.lockType, 0);
    item.fileReadOnlyOperate(*session, true);
    EXPECT_EQ(item.lockType, 1);

    // Only what the server knows as published is cancelled.
    item.webPublicAddress = "old";
    item.fileWebPublicCancel(*session);
    EXPECT_EQ(item.webPublicAddress, "old");
    server.setProperty("/a", VelmoraNamespaceURI, "publicaddress", "p1");
    item.fileWebPublicCancel(*session);
    EXPECT_EQ(item.webPublicAddress, "");
    EXPECT_EQ(server.countOf("PROPPATCH"), 1);
}

TEST(Item, PathOfItsUrl) {
    WebDavResource item;
    item.serverRoot = QUrl("http://h/root/");
    EXPECT_EQ(item.fullPath(), "");
    item.relativePath = "/a b/c?";
    EXPECT_EQ(item.fullPath(), "http://h/root/a%20b/c%3F");
    EXPECT_EQ(item.fileName(), "c%3F");
}

TEST(Item, AttributesOfFilesAndFolders) {
    WebDavResource item;
    item.contentType = 1;
    item.fileSize = 5368709120;
    const auto undated = item.fileInfomation();
    EXPECT_EQ(undated->value(NSFileType), NSFileTypeRegular);
    EXPECT_EQ(undated->value(NSFileSize), QVariant(QString("5368709120")));
    EXPECT_TRUE(undated->value(NSFileCreationDate).toDateTime().isValid());
    EXPECT_EQ(undated->value(NSFileModificationDate), undated->value(NSFileCreationDate));

    item.contentType = 0;
    item.fileCreationDate = kDate;
    item.fileLastModified = kDate.addDays(1);
    item.fileChangeDate = kDate.addDays(2);
    item.extendAttrs = std::make_shared<AttributeMap>(AttributeMap{{"kept", 1}});
    const auto folder = item.fileInfomation();
    EXPECT_EQ(folder->value("kept"), 1);
    EXPECT_EQ(folder->value(NSFileType), NSFileTypeDirectory);
    EXPECT_FALSE(folder->contains(NSFileSize));
    EXPECT_EQ(folder->value(kGMUserFileSystemFileBackupDateKey), kDate);
    EXPECT_EQ(folder->value(kGMUserFileSystemFileAccessDateKey), kDate.addDays(1));
    EXPECT_EQ(folder->value(kGMUserFileSystemFileChangeDateKey), kDate.addDays(2));
}

TEST(Item, LettersOfTheColumn) {
    WebDavResource item;
    EXPECT_EQ(item.getColumnValue(), "");
    item.lockType = 1;
    item.webPublicAddress = "";
    item.encryptsha = "";
    item.isSuspend = true;
    EXPECT_EQ(item.getColumnValue(), "RPES");
    item.lockType = 2;
    item.webPublicAddress = "/published";
    item.encryptsha = "ab";
    EXPECT_EQ(item.getColumnValue(), "LS");
}

TEST(Item, FollowsItsLocalFile) {
    QTemporaryDir folder;
    const QString path = folder.filePath("a");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("abc");
    file.setFileTime(kDate, QFileDevice::FileModificationTime);
    file.close();
    const auto item = WebDavResource::createNewFileIsDirectory(true);
    const QDateTime created = item->fileCreationDate;
    WebDavResource::updateFromLocalFile(path, item, false);
    EXPECT_EQ(item->contentType, 1);
    EXPECT_EQ(item->fileSize, 3);
    EXPECT_EQ(item->fileCreationDate, created);
    EXPECT_TRUE(item->md5.isNull());
    WebDavResource::updateFromLocalFile(path, item, true);
    WebDavResource::updateFromLocalFile(folder.filePath("none"), item, true);
    WebDavResource::updateFromLocalFile(path, nullptr, true);
    EXPECT_EQ(item->md5, "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(WebDavResource::createFromLocalFile(folder.path())->contentType, 0);
    EXPECT_EQ(WebDavResource::createFromLocalFile(folder.filePath("none")), nullptr);
}

}  // namespace
