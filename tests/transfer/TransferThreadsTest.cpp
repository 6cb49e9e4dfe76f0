#include "TransferFixture.h"
#include "transfer/DownloadThread.h"
#include "transfer/UploadThread.h"

using testing::ElementsAre;

class TransferThreads : public TransferFixture {
  protected:
    QString target() const { return folder.filePath("target"); }
    QByteArray downloaded() const {
        QFile file(target());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // Through the session's starter, to its end.
    QString download(qint64 start, qint64 end) {
        const auto thread =
            session->fileDownload(target(), server.url("/dav/f"), start, end, QString(), nullptr);
        thread->wait();
        EXPECT_TRUE(thread->isFinished());
        return text(thread->error);
    }
    QString upload(const QString &local, qint64 start = 0, qint64 end = -1) {
        const auto thread =
            session->fileUpload(local, server.url("/dav/f"), start, end, true, lockToken, nullptr);
        thread->wait();
        failure = thread->error;
        return text(failure);
    }

    QString lockToken;
    const QByteArray content = "0123456789";
};

TEST_F(TransferThreads, DownloadAsksForItsRangeInTheFormOfEachServer) {
    const std::string get = "GET /dav/f\nTranslate: f\n";
    const struct {
        Kind kind;
        qint64 start, end;
        std::string range;
    } cases[] = {
        {Standard, 0, -1, ""},
        {Standard, 0, 3, "Range: bytes=0-3\n"},
        {Standard, 4, -1, "Range: bytes=4-\n"},
        {Vendor, 0, -1, ""},
        {Vendor, 0, 3, "Content-Range: bytes 0-3\n"},
        {Vendor, 4, -1, "Content-Range: bytes 4-\n"},
    };
    for (const auto &[kind, start, end, range] : cases) {
        SCOPED_TRACE(range);
        this->start(kind);
        server.addFile("/dav/f", content);
        EXPECT_EQ(download(start, end), "-");
        EXPECT_THAT(wires("GET"), ElementsAre(get + range));
        EXPECT_EQ(downloaded(), content.mid(start, end < 0 ? -1 : end - start + 1));
    }
}

TEST_F(TransferThreads, TheRangeHoldsWhereTheServerIgnoresItAndOneFormDropsItsEnd) {
    start(Standard);
    server.addFile("/dav/f", content);
    server.setDialect([](auto &dialect) { dialect.ranges = false; });
    EXPECT_EQ(download(2, 5), "-");
    EXPECT_EQ(downloaded(), "2345");
    session->fileDownload(target(), server.url("/dav/f"), 2, 5, nullptr)->wait();
    EXPECT_EQ(downloaded(), "23456789");
}

TEST_F(TransferThreads, DownloadFailures) {
    start(Standard);
    server.addFile("/dav/f", QByteArray(100'000, 'x'));
    std::pair<Fault, int> cases[] = {{{.status = 401}, 13}, {{.status = 403}, 7},
                                     {{.status = 404}, 6},  {{.status = 500}, 13},
                                     {{.close = true}, 13}, {{.cutAfter = 50'000}, 13}};
    for (auto &[fault, expected] : cases) {
        fault.times = Fault::kAlways;
        server.clearFaults();
        server.fault(fault);
        EXPECT_EQ(download(0, -1), QString("VDWebDAVConnectError %1").arg(expected));
    }
}

TEST_F(TransferThreads, UploadInTheFormOfEachServer) {
    const std::string put = "PUT /dav/f\nTranslate: f\n";
    const auto part = [&](const char *range, const char *bytes) {
        return put + "Content-Range: bytes " + range + "/10\nX-KQ-ENABLE-RESUME: \n" + bytes;
    };
    const struct {
        Kind kind;
        qint64 start, end, divideSize;
        std::vector<std::string> wires;
    } cases[] = {
        {Standard, 0, -1, 0, {put + "Content-Length: 10\n0123456789"}},
        {Standard, 2, 5, 0, {put + "Content-Range: bytes 2-5/10\nContent-Length: 4\n2345"}},
        {Vendor, 0, -1, 0, {part("0-9", "0123456789")}},
        {Vendor, 0, -1, 4, {part("0-3", "0123"), part("4-7", "4567"), part("8-9", "89")}},
        {Vendor, 0, -1, 5, {part("0-4", "01234"), part("5-9", "56789")}},
        {Vendor, 6, -1, 0, {part("6-9", "6789")}},
        {Vendor, 9, -1, 4, {}},  // one byte is no part
    };
    const QString local = localFile(content);
    for (const auto &[kind, start, end, divideSize, expected] : cases) {
        this->start(kind);
        session->uploadDivideSize = divideSize;
        EXPECT_EQ(upload(local, start, end), "-");
        EXPECT_EQ(wires("PUT"), expected);
    }
    lockToken = "t:1";
    EXPECT_EQ(upload(local), "-");
    EXPECT_EQ(server.lastRequest("PUT").header("If"),
              "<" + server.url("/dav").toUtf8() + "> (<t:1>)");
}

TEST_F(TransferThreads, CipheredSessionSendsNothingInTheClear) {
    start(Vendor);
    session->cryptofileversion = 1;
    session->uploadDivideSize = 4;
    EXPECT_EQ(upload(localFile(content)), "-");
    EXPECT_THAT(wires("PUT"), ElementsAre("PUT /dav/f\nTranslate: f\nContent-Range: bytes "
                                          "0-9/10\nContent-Length: 10\n0123456789"));
    server.clearRequests();
    session->encryptKey = "key";
    EXPECT_EQ(upload(localFile(content)), "VDWebDAVConnectError 0");
    EXPECT_EQ(server.countOf("PUT"), 0);
}

TEST_F(TransferThreads, UploadFailures) {
    start(Vendor);
    const QString local = localFile(content);
    const std::pair<int, int> cases[] = {{201, kNone}, {423, 5},  {409, 9},
                                         {403, 7},     {507, 10}, {500, 13}};
    for (const auto &[status, expected] : cases) {
        server.fault({.method = "PUT", .status = status});
        upload(local);
        EXPECT_EQ(code(), expected) << status;
    }
    server.fault({.method = "PUT", .status = 403, .headers = {{"X-KQ-REFUSAL-EXTENSION", "exe"}}});
    EXPECT_EQ(upload(local), "VDWebDAVConnectError 17");
    EXPECT_TRUE(failure->userInfo.isEmpty());
    EXPECT_EQ(upload(folder.filePath("none")), "UploadThread 0");

    // A part that fails doesn't stop those behind it, and its error stays.
    session->uploadDivideSize = 4;
    server.clearRequests();
    server.fault({.method = "PUT", .after = 1, .status = 423});
    EXPECT_EQ(upload(local), "VDWebDAVConnectError 5");
    EXPECT_EQ(server.countOf("PUT"), 3);
}

TEST_F(TransferThreads, ThreadOutlivesItsCaller) {
    start(Standard);
    server.fault({.method = "PUT", .delay = std::chrono::milliseconds(50)});
    session->fileUpload(localFile("x"), server.url("/dav/f"), 0, false, QString(), nullptr);
    session.reset();
    EXPECT_TRUE(server.waitForRequests("PUT", "/dav/f", 1));
}
