#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

#include "SessionFixture.h"
#include "common/LocalFileDates.h"
#include "webdav/ASWDCmd.h"
#include "webdav/LockDiscovery.h"

namespace {

constexpr qint64 kMiB = 1024 * 1024;

class DownloadTest : public SessionFixture {
  protected:
    QByteArray part(qint64 start, qint64 end) {
        return session->filePartDownloadWithSrcpath("/file", start, end, forget(), &answer);
    }
    QByteArray lastRange() const { return server.lastRequest("GET").header("Range"); }

    RangeAnswer answer;
};

TEST_F(DownloadTest, RangesAreAskedInTheServersOwnForm) {
    struct Case {
        qint64 start;
        qint64 end;
        const char *velmora;
        const char *standard;
    };
    for (const bool velmora : {false, true}) {
        server.addGeneratedFile("/file", 100);
        velmora ? connectToVelmora() : connect();
        for (const Case &line :
             {Case{0, 9, "bytes 0-9", "bytes=0-9"}, Case{10, 10, "bytes 10-10", "bytes=10-10"},
              Case{90, -1, "bytes 90-", "bytes=90-"}, Case{0, -1, nullptr, nullptr}}) {
            const qint64 length = line.end < 0 ? 100 - line.start : line.end - line.start + 1;
            EXPECT_EQ(part(line.start, line.end), TestServer::generatedBytes(line.start, length));
            EXPECT_EQ(lastRange(), velmora ? line.velmora : line.standard);
            EXPECT_EQ(server.lastRequest("GET").header("Translate"), "f");
            EXPECT_EQ(answer.totalSize, 100);
            EXPECT_EQ(answer.lastModified, server.modified("/file").toUTC());
        }
    }
}

TEST_F(DownloadTest, OnlyTheAskedBytesOfAWholeFileArrive) {
    server.addGeneratedFile("/file", 300 * kMiB);
    for (const bool velmora : {false, true}) {
        velmora ? connectToVelmora() : connect();
        server.setDialect([](TestServer::Dialect &dialect) { dialect.ranges = false; });
        for (const qint64 start : {qint64{0}, qint64{65'536}, 3 * kMiB}) {
            EXPECT_EQ(part(start, start + 65'535), TestServer::generatedBytes(start, 65'536));
            EXPECT_EQ(answer.totalSize, 300 * kMiB);
        }
        // An end that isn't told is bounded.
        EXPECT_TRUE(part(0, -1).isNull());
        EXPECT_EQ(code(), 13);
        EXPECT_TRUE(part(5, -1).isNull());
        EXPECT_EQ(code(), 13);
    }
    server.addGeneratedFile("/file", 8 * kMiB);
    EXPECT_EQ(part(0, -1), TestServer::generatedBytes(0, 8 * kMiB));
    EXPECT_EQ(part(8 * kMiB - 1, -1), TestServer::generatedBytes(8 * kMiB - 1, 1));
}

TEST_F(DownloadTest, PartsThatAreNotWhatWasAskedForNeverArrive) {
    server.addGeneratedFile("/file", 1000);
    connect();
    const auto answerPart = [this](const QByteArray &range, const QByteArray &body) {
        server.clearFaults();
        server.fault(
            {.method = "GET", .status = 206, .headers = {{"Content-Range", range}}, .body = body});
        return part(100, 109);
    };
    EXPECT_EQ(answerPart("bytes 100-109/*", "0123456789"), "0123456789");
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(answer.totalSize, -1);
    EXPECT_TRUE(answerPart("bytes 0-9/1000", "0123456789").isNull());
    EXPECT_EQ(code(), 0);

    server.clearFaults();
    server.fault({.method = "GET", .cutAfter = 5});
    EXPECT_TRUE(part(100, 109).isNull());
    EXPECT_EQ(code(), 0);
}

TEST_F(DownloadTest, AnswersTellTheirVersionEvenWhenRefused) {
    server.addGeneratedFile("/file", 1000);
    connect();
    part(0, 9);
    EXPECT_EQ(answer.etag.toLatin1(), server.etag("/file"));
    server.fault({.method = "GET", .headers = {{"ETag", "W/\"1\""}}});
    part(0, 9);
    EXPECT_FALSE(answer.etag.startsWith("W/"));
    answer = {};
    EXPECT_TRUE(part(2000, 2009).isNull());
    EXPECT_EQ(code(), 13);
    EXPECT_EQ(answer.totalSize, 1000);

    server.addFile("/file", "");
    const QByteArray bytes = part(0, -1);
    EXPECT_TRUE(bytes.isEmpty() && !bytes.isNull()) << "an empty file is no failure";
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(answer.totalSize, 0);
}

TEST_F(DownloadTest, AWholeFileComesWithItsDate) {
    QTemporaryDir folder;
    const QString local = folder.filePath("copy");
    const QDateTime date(QDate(2015, 1, 5), QTime(10, 0), Qt::UTC);
    server.addGeneratedFile("/file", 2 * kMiB, date);
    server.setAnswerHeader("GET", "/file", "X-KQ-CreationDate", "2001-02-03T04:05:06Z");
    connect();
    EXPECT_TRUE(session->fileDownload(local, "/file", nullptr, forget()));
    QFile file(local);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), TestServer::generatedBytes(0, 2 * kMiB));
    const LocalFileDates dates = LocalFileDates::of(local);
    EXPECT_EQ(dates.modification.toUTC(), date);
    EXPECT_EQ(dates.creation, QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC));
    EXPECT_FALSE(session->fileDownload(local, "/absent", nullptr, forget()));
    EXPECT_EQ(code(), 6);
}

TEST_F(DownloadTest, DigestsCarryFromOneByteToTheNext) {
    const std::pair<const char *, const char *> cases[] = {
        {"12", "12"}, {"0102", "0112"}, {"aB0F", "abbf"}, {"1g", "10"}, {"ffff", "ffef"}};
    for (const auto &[text, bytes] : cases)
        EXPECT_EQ(VDWebDAVConnect::hexStringtoByte(text).toHex(), bytes);
    EXPECT_TRUE(VDWebDAVConnect::hexStringtoByte("123").isNull());
    EXPECT_FALSE(VDWebDAVConnect::hexStringtoByte("").isNull());
}

TEST_F(DownloadTest, OnlyTheVendorsServerIsAskedForADigest) {
    server.addFile("/file", "x");
    connect();
    EXPECT_TRUE(session->getMD5("/file", 0, 9, forget()).isNull());
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(server.countOf(""), 0);

    connectToVelmora();
    server.addFile("/file", "0123456789abc");
    const QByteArray digest = QCryptographicHash::hash("123456789a", QCryptographicHash::Md5);
    EXPECT_EQ(session->getMD5("/file", 1, 10, forget()),
              VDWebDAVConnect::hexStringtoByte(digest.toHex()));
    EXPECT_EQ(server.lastRequest("HEAD").header("X-KQ-Partial-MD5"), "bytes=1-10");

    server.fault({.method = "HEAD", .status = 200, .headers = {{"x-kq-partial-md5", "0a0b"}}});
    EXPECT_EQ(session->getMD5("/file", 1, 10, forget()).toHex().toStdString(), "0aab");
    server.fault({.method = "HEAD", .status = 200});
    EXPECT_TRUE(session->getMD5("/file", 1, 10, forget()).isNull());
    EXPECT_EQ(code(), kNone);
}

TEST_F(DownloadTest, TheUploadQuestion) {
    server.addGeneratedFile("/file", 5'000'000'000);
    server.lockAs("/file", "somebody");
    server.refuseUploadsAbove(100);
    connectToVelmora();
    std::shared_ptr<LockDiscovery> lock;
    EXPECT_EQ(session->getFIleSize("/file", 100, &lock, forget()), 5'000'000'000);
    EXPECT_EQ(code(), kNone);
    ASSERT_TRUE(lock);
    EXPECT_EQ(lock->owner, "somebody");
    EXPECT_EQ(server.lastRequest("PROPFIND").header("X-KQ-QUERY-UPLOAD"), "100");

    EXPECT_EQ(session->getFIleSize("/file", 101, forget()), 0);
    EXPECT_EQ(code(), 10);
    EXPECT_EQ(session->getFIleSize("/absent", 1, forget()), 0);
    EXPECT_EQ(code(), 6);
}

}  // namespace
