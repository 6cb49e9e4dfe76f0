#include <atomic>

#include "TransferFixture.h"
#include "common/LocalFileDates.h"
#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdUpload.h"

using testing::ElementsAre;

class FileUpload : public TransferFixture {};

TEST_F(FileUpload, WholeFileInTheFormOfEachServer) {
    const std::string put = "PUT /dav/a%20b.txt\nTranslate: f\n";
    const std::string length = "Content-Length: ";
    const struct {
        Kind kind;
        QByteArray content;
        QString token;
        std::string wire;
    } cases[] = {
        {Standard, "ten bytes!", {}, put + length + "10\nten bytes!"},
        {Standard, "", {}, put + length + "0\n"},
        {Vendor,
         "ten bytes!",
         {},
         put + "Content-Range: bytes 0-9/10\n" + length + "10\nten bytes!"},
        {Vendor, "x", "t:1",
         put + "Content-Range: bytes 0-0/1\n" + length + "1\nIf: <$S/dav> (<t:1>)\nx"},
        {Vendor, "", {}, put + length + "0\n"},
    };
    for (const auto &[kind, content, token, wire] : cases) {
        start(kind);
        EXPECT_TRUE(session->fileUpload(localFile(content), "/a b.txt", token, forget()));
        EXPECT_EQ(text(failure), "-");
        EXPECT_THAT(wires("PUT"), ElementsAre(wire));
        EXPECT_EQ(server.content("/dav/a b.txt"), content);
    }
}

TEST_F(FileUpload, LockOfAStandardServerIsNamedWithTheFile) {
    start(Standard);
    server.addFile("/dav/f", "old");
    const QByteArray token = server.lockAs("/dav/f", "me");
    EXPECT_FALSE(session->fileUpload(localFile("new"), "/f", {}, &failure));
    EXPECT_EQ(text(failure), "VDWebDAVConnectError 5");
    EXPECT_TRUE(session->fileUpload(localFile("new"), "/f", token, &failure));
    EXPECT_EQ(server.lastRequest("PUT").header("If"),
              "<" + server.url("/dav/f").toUtf8() + "> (<" + token + ">)");
    EXPECT_EQ(server.content("/dav/f"), "new");
}

TEST_F(FileUpload, GoesInPartsToTheVendorsServer) {
    start(Vendor);
    session->uploadDivideSize = 4;
    const QString local = localFile("0123456789");
    EXPECT_TRUE(session->fileUpload(local, "/f", "t:1", forget()));
    const std::string head = "PUT /dav/f\nTranslate: f\nContent-Range: bytes ";
    const std::string tail = "\nX-KQ-ENABLE-RESUME: \nIf: <$S/dav> (<t:1>)\n";
    EXPECT_THAT(wires("PUT"),
                ElementsAre(head + "0-3/10" + tail + "0123", head + "4-7/10" + tail + "4567",
                            head + "8-9/10" + tail + "89"));
    EXPECT_EQ(server.content("/dav/f"), "0123456789");

    EXPECT_TRUE(session->uploadPartFrom(4, -1, local, "/f", {}, nullptr, forget()));
    EXPECT_EQ(server.lastRequest("PUT").header("Content-Range"), "bytes 4-9/10");
    EXPECT_FALSE(session->uploadPartFrom(8, 20, local, "/f", {}, nullptr, forget()));
    EXPECT_EQ(text(failure), QString("NSPOSIXErrorDomain %1").arg(EIO));

    server.clearRequests();
    EXPECT_TRUE(session->fileUpload(localFile("1"), "/one", {}, forget()));
    EXPECT_EQ(server.countOf("PUT"), 0) << "a single byte is no part";
}

// Which would otherwise keep the last part as the whole file.
TEST_F(FileUpload, StandardServerGetsNoParts) {
    start(Standard);
    session->uploadDivideSize = 4;
    const QString local = localFile("0123456789");
    EXPECT_TRUE(session->fileUpload(local, "/f", {}, forget()));
    EXPECT_EQ(server.countOf("PUT"), 1);
    EXPECT_FALSE(session->uploadPartFrom(0, 3, local, "/f", {}, nullptr, forget()));
    EXPECT_TRUE(failure);
    EXPECT_EQ(server.content("/dav/f"), "0123456789");
}

TEST_F(FileUpload, PartsEndAtTheFirstFailureOrTheStopFlag) {
    start(Vendor);
    session->uploadDivideSize = 4;
    const QString local = localFile("0123456789");
    server.fault({.method = "PUT", .after = 1, .status = 507});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, forget()));
    EXPECT_EQ(text(failure), "VDWebDAVConnectError 10");
    EXPECT_EQ(server.countOf("PUT"), 2);
    const std::atomic<bool> stop{true};
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, nullptr, &stop, false, forget()));
    EXPECT_EQ(text(failure), "-");
    EXPECT_EQ(server.countOf("PUT"), 3);
}

TEST_F(FileUpload, StatusesAreRead) {
    start(Standard);
    const std::pair<int, const char *> cases[] = {
        {200, "-"},   {204, "-"},   {202, "13o"}, {400, "18o"}, {401, "13o"},
        {403, "7"},   {409, "9"},   {413, "23"},  {415, "20o"}, {423, "5o"},
        {500, "11o"}, {503, "12o"}, {507, "10o"}, {418, "13o"}};
    const QString local = localFile("x");
    for (const auto &[status, expected] : cases) {
        server.fault({.method = "PUT", .status = status});
        EXPECT_EQ(session->fileUpload(local, "/f", {}, forget()), *expected == '-') << status;
        EXPECT_EQ(codeText(), expected) << status;
    }
    server.fault({.method = "PUT", .status = 403, .headers = {{"x-kq-refusal-extension", "exe"}}});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, forget()));
    EXPECT_EQ(code(), 17);
    EXPECT_TRUE(failure->userInfo.contains("statusCode")) << "the whole header goes with it";

    EXPECT_FALSE(session->fileUpload(folder.filePath("none"), "/f", {}, forget()));
    EXPECT_EQ(text(failure), "UploadThread 0");
    server.fault({.method = "PUT", .times = Fault::kAlways, .close = true});
    EXPECT_FALSE(session->fileUpload(local, "/f", {}, forget()));
    EXPECT_EQ(text(failure), "VDWebDAVConnectError 0");
}

TEST_F(FileUpload, DatesOfTheLocalFileGoInTheFieldsOfEachServer) {
    const QDateTime created = QDateTime::fromSecsSinceEpoch(1'500'000'000, Qt::UTC);
    const QDateTime modified = created.addDays(3);
    const QString local = localFile("x");
    LocalFileDates{created, modified}.applyTo(local);
    for (const Kind kind : {Standard, Vendor}) {
        start(kind);
        ASSERT_TRUE(session->fileUpload(local, "/f", {}, forget()));
        const auto expectField = [&](const char *name, const QDateTime &date) {
            const QString text = VDCommonUtils::lastmodifiedDateStringFromDate(date);
            EXPECT_EQ(server.lastRequest().header(name), kind == Vendor ? text.toLatin1() : "");
        };
        expectField("X-KQ-CreationDate", created);
        expectField("X-KQ-LastModified", modified);
        EXPECT_EQ(server.lastRequest().header("X-OC-Mtime"), kind == Vendor ? "" : "1500259200");
    }
    LocalFileDates{created, QDateTime::fromSecsSinceEpoch(0, Qt::UTC)}.applyTo(local);
    start(Standard);
    ASSERT_TRUE(session->fileUpload(local, "/f", {}, forget()));
    EXPECT_FALSE(server.lastRequest().has("X-OC-Mtime")) << "a date that some refuse";
}

TEST_F(FileUpload, CancelledCommandSendsNothing) {
    start(Standard);
    const auto command = std::make_shared<ASWDCmdPut>(session->itemUrl("/f"), session->coninfo);
    command->cancel();
    EXPECT_FALSE(session->fileUpload(localFile("x"), "/f", {}, command, nullptr, true, forget()));
    EXPECT_TRUE(failure);
    EXPECT_EQ(server.countOf("PUT"), 0);
}
