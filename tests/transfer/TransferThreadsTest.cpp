#include <QFileInfo>

#include "TransferFixture.h"
#include "common/LocalFileDates.h"
#include "transfer/DownloadThread.h"
#include "transfer/UploadThread.h"

using testing::ElementsAre;
using testing::IsEmpty;

class TransferThreads : public TransferFixture {
  protected:
    QString target() const { return folder.filePath("target"); }

    // Through the session's starter, to its end.
    std::optional<Error> download(qint64 start, qint64 end) {
        const auto thread =
            session->fileDownload(target(), server.url("/dav/f"), start, end, QString(), nullptr);
        thread->wait();
        EXPECT_TRUE(thread->isFinished());
        return thread->error;
    }
    std::optional<Error> upload(const QString &local, qint64 start = 0, qint64 end = -1) {
        const auto thread =
            session->fileUpload(local, server.url("/dav/f"), start, end, true, lockToken, nullptr);
        thread->wait();
        return thread->error;
    }

    QString lockToken;
};

TEST_F(TransferThreads, DownloadAsksForItsRangeInTheFormOfEachServer) {
    const QByteArray content = "0123456789";
    const struct {
        Kind kind;
        qint64 start, end;
        const char *wire;
    } cases[] = {
        {Standard, 0, -1, "GET /dav/f\nTranslate: f\n"},
        {Standard, 0, 3, "GET /dav/f\nTranslate: f\nRange: bytes=0-3\n"},
        {Standard, 4, -1, "GET /dav/f\nTranslate: f\nRange: bytes=4-\n"},
        {Vendor, 0, -1, "GET /dav/f\nTranslate: f\n"},
        {Vendor, 0, 3, "GET /dav/f\nTranslate: f\nContent-Range: bytes 0-3\n"},
        {Vendor, 4, -1, "GET /dav/f\nTranslate: f\nContent-Range: bytes 4-\n"},
    };
    for (const auto &[kind, start, end, wire] : cases) {
        connect(kind);
        server.addFile("/dav/f", content);
        EXPECT_EQ(text(download(start, end)), "-") << wire;
        EXPECT_THAT(wires("GET"), ElementsAre(wire));
        EXPECT_EQ(contentOf(target()), content.mid(start, end < 0 ? -1 : end - start + 1)) << wire;
    }
}

TEST_F(TransferThreads, RangeHoldsAgainstAServerThatIgnoresIt) {
    connect(Standard);
    server.addFile("/dav/f", "0123456789");
    server.setDialect([](auto &dialect) { dialect.ranges = false; });
    EXPECT_EQ(text(download(2, 5)), "-");
    EXPECT_EQ(contentOf(target()), "2345");
}

TEST_F(TransferThreads, OneFormOfTheDownloadDropsItsEnd) {
    connect(Standard);
    server.addFile("/dav/f", "0123456789");
    session->fileDownload(target(), server.url("/dav/f"), 2, 5, nullptr)->wait();
    EXPECT_EQ(contentOf(target()), "23456789");
}

TEST_F(TransferThreads, DownloadSetsTheDatesOfTheServer) {
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(1'600'000'000, Qt::UTC);
    connect(Standard);
    server.addFile("/dav/f", "x", modified);
    server.setAnswerHeader("GET", "/dav/f", "X-KQ-CreationDate", "2001-02-03T04:05:06Z");
    EXPECT_EQ(text(download(0, -1)), "-");
    const LocalFileDates dates = LocalFileDates::of(target());
    EXPECT_EQ(dates.modification, modified);
    EXPECT_EQ(dates.creation, QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC));
}

TEST_F(TransferThreads, DownloadFailures) {
    connect(Standard);
    server.addFile("/dav/f", QByteArray(100'000, 'x'));
    const struct {
        Fault fault;
        const char *error;
    } cases[] = {
        {{.status = 401}, "VDWebDAVConnectError 13"},
        {{.status = 403}, "VDWebDAVConnectError 7"},
        {{.status = 404}, "VDWebDAVConnectError 6"},
        {{.status = 500}, "VDWebDAVConnectError 13"},
        {{.close = true}, "VDWebDAVConnectError 13"},
        {{.cutAfter = 50'000}, "VDWebDAVConnectError 13"},
    };
    for (auto [fault, expected] : cases) {
        fault.times = Fault::kAlways;
        server.clearFaults();
        server.fault(fault);
        EXPECT_EQ(text(download(0, -1)), expected) << fault.status;
    }
}

TEST_F(TransferThreads, UploadInTheFormOfEachServer) {
    const QByteArray content = "0123456789";
    const std::string put = "PUT /dav/f\nTranslate: f\n";
    const std::string resume = "\nX-KQ-ENABLE-RESUME: \n";
    const struct {
        const char *name;
        Kind kind;
        qint64 start, end, divideSize;
        std::vector<std::string> wires;
    } cases[] = {
        {"elsewhere", Standard, 0, -1, 0, {put + "Content-Length: 10\n0123456789"}},
        {"range elsewhere",
         Standard,
         2,
         5,
         0,
         {put + "Content-Range: bytes 2-5/10\nContent-Length: 4\n2345"}},
        {"whole", Vendor, 0, -1, 0, {put + "Content-Range: bytes 0-9/10" + resume + "0123456789"}},
        {"parts",
         Vendor,
         0,
         -1,
         4,
         {put + "Content-Range: bytes 0-3/10" + resume + "0123",
          put + "Content-Range: bytes 4-7/10" + resume + "4567",
          put + "Content-Range: bytes 8-9/10" + resume + "89"}},
        {"twice the size",
         Vendor,
         0,
         -1,
         5,
         {put + "Content-Range: bytes 0-4/10" + resume + "01234",
          put + "Content-Range: bytes 5-9/10" + resume + "56789"}},
        {"rest", Vendor, 6, -1, 0, {put + "Content-Range: bytes 6-9/10" + resume + "6789"}},
        {"one byte", Vendor, 9, -1, 4, {}},
    };
    const QString local = localFile(content);
    for (const auto &[name, kind, start, end, divideSize, expected] : cases) {
        connect(kind);
        session->uploadDivideSize = divideSize;
        EXPECT_EQ(text(upload(local, start, end)), "-") << name;
        EXPECT_EQ(wires("PUT"), expected) << name;
    }
}

TEST_F(TransferThreads, UploadNamesTheMountWithTheLock) {
    connect(Vendor);
    lockToken = "t:1";
    EXPECT_EQ(text(upload(localFile("x"))), "-");
    EXPECT_EQ(server.lastRequest("PUT").header("If"),
              "<" + server.url("/dav").toUtf8() + "> (<t:1>)");
}

TEST_F(TransferThreads, CipheredSessionSendsNothingInTheClear) {
    connect(Vendor);
    session->cryptofileversion = 1;
    session->uploadDivideSize = 4;
    EXPECT_EQ(text(upload(localFile("0123456789"))), "-");
    EXPECT_THAT(wires("PUT"), ElementsAre("PUT /dav/f\nTranslate: f\nContent-Range: bytes "
                                          "0-9/10\nContent-Length: 10\n0123456789"));
    server.clearRequests();
    session->encryptKey = "key";
    EXPECT_EQ(text(upload(localFile("0123456789"))), "VDWebDAVConnectError 0");
    EXPECT_THAT(wires("PUT"), IsEmpty());
}

TEST_F(TransferThreads, UploadFailures) {
    connect(Vendor);
    const QString local = localFile("0123456789");
    const struct {
        int status;
        const char *error;
    } cases[] = {{201, "-"},
                 {423, "VDWebDAVConnectError 5"},
                 {409, "VDWebDAVConnectError 9"},
                 {403, "VDWebDAVConnectError 7"},
                 {507, "VDWebDAVConnectError 10"},
                 {500, "VDWebDAVConnectError 13"}};
    for (const auto &[status, expected] : cases) {
        server.fault({.method = "PUT", .status = status});
        EXPECT_EQ(text(upload(local)), expected) << status;
    }
    server.fault({.method = "PUT", .status = 403, .headers = {{"X-KQ-REFUSAL-EXTENSION", "exe"}}});
    const auto refused = upload(local);
    EXPECT_EQ(text(refused), "VDWebDAVConnectError 17");
    EXPECT_TRUE(refused->userInfo.isEmpty());
    EXPECT_EQ(text(upload(folder.filePath("none"))), "UploadThread 0");

    // A part that fails doesn't stop those behind it, and its error stays.
    session->uploadDivideSize = 4;
    server.clearRequests();
    server.fault({.method = "PUT", .after = 1, .status = 423});
    EXPECT_EQ(text(upload(local)), "VDWebDAVConnectError 5");
    EXPECT_EQ(server.countOf("PUT"), 3);
    EXPECT_EQ(text(upload(folder.filePath("none"))), "UploadThread 0");
}

TEST_F(TransferThreads, ThreadOutlivesItsCaller) {
    connect(Standard);
    server.fault({.method = "PUT", .delay = std::chrono::milliseconds(50)});
    session->fileUpload(localFile("x"), server.url("/dav/f"), 0, false, QString(), nullptr);
    session.reset();
    EXPECT_TRUE(server.waitForRequests("PUT", "/dav/f", 1));
}
