#include <atomic>
#include <sys/stat.h>

#include "TransferFixture.h"
#include "common/LocalFileDates.h"
#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdUpload.h"

using testing::ElementsAre;
using testing::IsEmpty;

class FileUpload : public TransferFixture {};

TEST_F(FileUpload, WholeFileInTheFormOfEachServer) {
    const struct {
        const char *name;
        Kind kind;
        QByteArray content;
        QString token;
        const char *wire;
    } cases[] = {
        {"standard",
         Standard,
         "ten bytes!",
         {},
         "PUT /dav/a%20b.txt\nTranslate: f\nContent-Length: 10\nten bytes!"},
        {"standard, empty",
         Standard,
         "",
         {},
         "PUT /dav/a%20b.txt\nTranslate: f\nContent-Length: 0\n"},
        {"vendor",
         Vendor,
         "ten bytes!",
         {},
         "PUT /dav/a%20b.txt\nTranslate: f\nContent-Range: bytes 0-9/10\nContent-Length: "
         "10\nten bytes!"},
        {"vendor, locked", Vendor, "x", "opaquelocktoken:1",
         "PUT /dav/a%20b.txt\nTranslate: f\nContent-Range: bytes 0-0/1\nContent-Length: 1\n"
         "If: <$S/dav> (<opaquelocktoken:1>)\nx"},
        {"vendor, empty", Vendor, "", {}, "PUT /dav/a%20b.txt\nTranslate: f\nContent-Length: 0\n"},
    };
    for (const auto &[name, kind, content, token, wire] : cases) {
        connect(kind);
        if (!token.isNull())
            server.setDialect([](auto &dialect) { dialect.strictIf = false; });
        EXPECT_TRUE(session->fileUpload(localFile(content), "/a b.txt", token, &error)) << name;
        EXPECT_EQ(text(error), "-") << name;
        EXPECT_THAT(wires("PUT"), ElementsAre(wire)) << name;
        EXPECT_EQ(server.content("/dav/a b.txt"), content) << name;
    }
}

TEST_F(FileUpload, LockOfAStandardServerIsNamedWithTheFile) {
    connect(Standard);
    server.addFile("/dav/f", "old");
    const QByteArray token = server.lockAs("/dav/f", "me");
    EXPECT_FALSE(session->fileUpload(localFile("new"), "/f", {}, &error));
    EXPECT_EQ(text(error), "VDWebDAVConnectError 5");
    EXPECT_TRUE(session->fileUpload(localFile("new"), "/f", token, &error));
    EXPECT_EQ(server.lastRequest("PUT").header("If"),
              "<" + server.url("/dav/f").toUtf8() + "> (<" + token + ">)");
    EXPECT_EQ(server.content("/dav/f"), "new");
}

TEST_F(FileUpload, GoesInPartsToTheVendorsServer) {
    connect(Vendor);
    session->uploadDivideSize = 4;
    EXPECT_TRUE(session->fileUpload(localFile("0123456789"), "/f", "t:1", &error));
    const std::string head = "PUT /dav/f\nTranslate: f\nContent-Range: bytes ";
    const std::string tail = "\nX-KQ-ENABLE-RESUME: \nIf: <$S/dav> (<t:1>)\n";
    EXPECT_THAT(wires("PUT"),
                ElementsAre(head + "0-3/10" + tail + "0123", head + "4-7/10" + tail + "4567",
                            head + "8-9/10" + tail + "89"));
    EXPECT_EQ(server.content("/dav/f"), "0123456789");
    server.clearRequests();
    EXPECT_TRUE(session->fileUpload(localFile("1"), "/one", {}, &error));
    EXPECT_THAT(wires("PUT"), IsEmpty()) << "a single byte is no part";
    EXPECT_EQ(text(error), "-");

    EXPECT_TRUE(session->uploadPartFrom(4, -1, localFile("0123456789"), "/f", {}, nullptr, &error));
    EXPECT_EQ(server.lastRequest("PUT").header("Content-Range"), "bytes 4-9/10");
    EXPECT_FALSE(
        session->uploadPartFrom(8, 20, localFile("0123456789"), "/f", {}, nullptr, &error));
    EXPECT_EQ(text(error), QString("NSPOSIXErrorDomain %1").arg(EIO));
}

// Which would otherwise keep the last part as the whole file.
TEST_F(FileUpload, StandardServerGetsNoParts) {
    connect(Standard);
    session->uploadDivideSize = 4;
    EXPECT_TRUE(session->fileUpload(localFile("0123456789"), "/f", {}, &error));
    EXPECT_EQ(server.countOf("PUT"), 1);
    EXPECT_EQ(server.content("/dav/f"), "0123456789");
    EXPECT_FALSE(session->uploadPartFrom(0, 3, localFile("0123456789"), "/f", {}, nullptr, &error));
    EXPECT_TRUE(error);
    EXPECT_EQ(server.content("/dav/f"), "0123456789");
}

TEST_F(FileUpload, PartsEndAtTheFirstFailureOrTheStopFlag) {
    connect(Vendor);
    session->uploadDivideSize = 4;
    const QString local = localFile("0123456789");
    server.fault({.method = "PUT", .after = 1, .status = 507});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, &error));
    EXPECT_EQ(text(error), "VDWebDAVConnectError 10");
    EXPECT_EQ(server.countOf("PUT"), 2);
    error.reset();
    const std::atomic<bool> stop{true};
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, nullptr, &stop, false, &error));
    EXPECT_EQ(text(error), "-");
    EXPECT_EQ(server.countOf("PUT"), 3);
}

TEST_F(FileUpload, StatusesAreRead) {
    connect(Standard);
    const struct {
        int status;
        int code;  // -1: success
        bool tellsLine;
    } cases[] = {{200, -1, false}, {204, -1, false}, {202, 13, true}, {400, 18, true},
                 {401, 13, true},  {403, 7, false},  {409, 9, false}, {413, 23, false},
                 {415, 20, true},  {423, 5, true},   {500, 11, true}, {503, 12, true},
                 {507, 10, true},  {418, 13, true}};
    const QString local = localFile("x");
    for (const auto &[status, code, tellsLine] : cases) {
        server.fault({.method = "PUT", .status = status});
        error.reset();
        EXPECT_EQ(session->fileUpload(local, "/f", {}, &error), code < 0) << status;
        EXPECT_EQ(error ? error->code : -1, code) << status;
        EXPECT_EQ(error && error->userInfo.contains("OUTPUT"), tellsLine) << status;
    }
    server.fault({.method = "PUT", .status = 403, .headers = {{"x-kq-refusal-extension", "exe"}}});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, &error));
    EXPECT_EQ(text(error), "VDWebDAVConnectError 17");
    EXPECT_TRUE(error->userInfo.contains("statusCode")) << "the whole header goes with it";

    EXPECT_FALSE(session->fileUpload(folder.filePath("none"), "/f", {}, &error));
    EXPECT_EQ(text(error), "UploadThread 0");
    server.fault({.method = "PUT", .times = Fault::kAlways, .close = true});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, &error));
    EXPECT_EQ(text(error), "VDWebDAVConnectError 0");
}

TEST_F(FileUpload, DatesOfTheLocalFileGoToTheVendorsServer) {
    const QDateTime created = QDateTime::fromSecsSinceEpoch(1'500'000'000, Qt::UTC);
    const QDateTime modified = created.addDays(3);
    const QString local = localFile("x");
    LocalFileDates{created, modified}.applyTo(local);
    const auto fieldOf = [](const QDateTime &date) {
        return VDCommonUtils::lastmodifiedDateStringFromDate(date).toLatin1();
    };
    connect(Vendor);
    ASSERT_TRUE(session->fileUpload(local, "/f", {}, &error));
    EXPECT_EQ(server.lastRequest().header("X-KQ-CreationDate"), fieldOf(created));
    EXPECT_EQ(server.lastRequest().header("X-KQ-LastModified"), fieldOf(modified));
}

TEST_F(FileUpload, StandardServerIsSentNoDates) {
    connect(Standard);
    ASSERT_TRUE(session->fileUpload(localFile("x"), "/f", {}, &error));
    EXPECT_FALSE(server.lastRequest().has("X-KQ-CreationDate"));
    EXPECT_FALSE(server.lastRequest().has("X-KQ-LastModified"));
}

TEST_F(FileUpload, CancelledCommandSendsNothing) {
    connect(Standard);
    const auto command = std::make_shared<ASWDCmdPut>(session->itemUrl("/f"), session->coninfo);
    command->cancel();
    EXPECT_FALSE(session->fileUpload(localFile("x"), "/f", {}, command, nullptr, true, &error));
    EXPECT_TRUE(error);
    EXPECT_EQ(server.countOf("PUT"), 0);
}
