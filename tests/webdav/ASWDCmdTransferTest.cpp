#include <QFile>
#include <QTemporaryDir>

#include "ASWDCmdRun.h"
#include "support/TestServer.h"
#include "webdav/ASWDCmdGet.h"
#include "webdav/ASWDCmdUpload.h"

namespace {

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString fileWith(const QTemporaryDir &folder, const QByteArray &content) {
    const QString path = folder.filePath("file");
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

}  // namespace

TEST(ASWDCmdPut, SendsAFileAndReadsItAgainForALogin) {
    const QTemporaryDir folder;
    const QByteArray content = TestServer::generatedBytes(0, 3'000'001);
    for (const auto scheme : {TestServer::NoLogin, TestServer::Basic, TestServer::Digest}) {
        SCOPED_TRACE(scheme);
        TestServer server;
        server.requireLogin(scheme, "u", "p");
        const auto info = std::make_shared<ASHttpConnectInfo>();
        info->isUseAuthorization = true;
        info->changeLogin(false, "u", "p");
        const auto put = make<ASWDCmdPut>(server.url("/a"), info);
        put->filePath = fileWith(folder, content);
        put->fileLength = content.size();
        ASSERT_TRUE(run(*put));
        EXPECT_EQ(status(*put), 201);
        EXPECT_TRUE(server.content("/a") == content);
        for (const RecordedRequest &request : server.requests())
            EXPECT_EQ(request.bodySize, content.size());
    }

    TestServer server;
    const auto empty = make<ASWDCmdPut>(server.url("/a"));
    empty->filePath = fileWith(folder, "");
    ASSERT_TRUE(run(*empty));
    EXPECT_EQ(server.lastRequest().header("Content-Length"), "0");
    EXPECT_FALSE(server.lastRequest().has("Transfer-Encoding"));
}

TEST(ASWDCmdPut, TheFileChangesWhileItIsSent) {
    const QTemporaryDir folder;
    TestServer server;
    const auto info = std::make_shared<ASHttpConnectInfo>();
    const QString path = fileWith(folder, QByteArray(100'000, 'a'));

    const auto shrunk = make<ASWDCmdPut>(server.url("/shrunk"), info);
    shrunk->filePath = path;
    shrunk->fileLength = 200'000;
    ASSERT_TRUE(run(*shrunk));
    EXPECT_EQ(errorCode(*shrunk), 32768);
    EXPECT_FALSE(server.exists("/shrunk"));

    const auto grown = make<ASWDCmdPut>(server.url("/grown"), info);
    grown->filePath = path;
    grown->fileLength = 50'000;
    ASSERT_TRUE(run(*grown));
    EXPECT_EQ(server.content("/grown").size(), 50'000);
    const auto next = make<ASWDCmdGetImpl>(server.url("/grown"), info);
    ASSERT_TRUE(run(*next));
    EXPECT_EQ(next->responseData.size(), 50'000);
}

TEST(ASWDCmdGet, ReplacesTheFileWithA2xxBodyAlone) {
    const QTemporaryDir folder;
    TestServer server;
    server.addFile("/a", "new");
    const QString path = fileWith(folder, "older content");
    const auto get = make<ASWDCmdGet>(server.url("/a"));
    get->localFile = QUrl::fromLocalFile(path);
    ASSERT_TRUE(run(*get));
    EXPECT_EQ(contentOf(path), "new");

    const auto missing = make<ASWDCmdGetImpl>(server.url("/missing"));
    missing->localfile = path;
    ASSERT_TRUE(run(*missing));
    EXPECT_FALSE(missing->error);
    EXPECT_EQ(status(*missing), 404);
    EXPECT_EQ(contentOf(path), "");

    const auto nowhere = make<ASWDCmdGetImpl>(server.url("/a"));
    nowhere->localfile = folder.filePath("no/such/folder");
    EXPECT_FALSE(nowhere->execute());
    EXPECT_EQ(errorCode(*nowhere), 32768);

    const auto full = make<ASWDCmdGetImpl>(server.url("/a"));
    full->localfile = "/dev/full";
    ASSERT_TRUE(run(*full));
    EXPECT_EQ(errorCode(*full), 32768);
    EXPECT_FALSE(full->error->userInfo.value("OUTPUT").toString().isEmpty());
}

TEST(ASWDCmdGetImpl, KeepsTheBytesAskedForWhateverTheServerSends) {
    constexpr qint64 kSize = 300'000;
    struct Case {
        const char *name;
        qint64 start;
        qint64 length;
        QByteArray range;  // of the request
        bool ignored;      // 200 and all
        bool fails;
        bool keepsConnection;
    };
    const Case cases[] = {
        {"all", -1, -1, "", false, false, true},
        {"206", 1000, 500, "bytes=1000-1499", false, false, true},
        {"206 to the end", 299'000, -1, "bytes=299000-", false, false, true},
        {"206 shorter than asked", 299'900, 500, "bytes=299900-300399", false, false, true},
        {"206 of another place", 1000, 500, "bytes=2000-2499", false, true, false},
        {"206 longer than asked", 1000, 100, "bytes=1000-250000", false, false, false},
        {"200, from the start", 0, 1000, "bytes=0-999", true, false, false},
        {"200, the middle", 150'000, 1000, "bytes=150000-150999", true, false, false},
        {"200, the last bytes", 299'000, 1000, "bytes=299000-299999", true, false, true},
        {"200, beyond the end", 299'900, 1000, "bytes=299900-", true, false, true},
    };
    const QTemporaryDir folder;
    for (const Case &c : cases)
        for (const bool chunked : {false, true})
            for (const bool toFile : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << " chunked " << chunked << " file " << toFile);
                TestServer server;
                server.addGeneratedFile("/a", kSize);
                server.setDialect([&](TestServer::Dialect &dialect) {
                    dialect.ranges = !c.ignored;
                    dialect.chunkedAnswers = chunked;
                });
                const auto info = std::make_shared<ASHttpConnectInfo>();
                const auto get = make<ASWDCmdGetImpl>(server.url("/a"), info);
                if (!c.range.isEmpty())
                    get->requestHeader["Range"] = QString::fromLatin1(c.range);
                get->wantedStart = c.start;
                get->wantedLength = c.length;
                if (toFile)
                    get->localfile = fileWith(folder, "");
                ASSERT_TRUE(run(*get));
                EXPECT_EQ(get->error.has_value(), c.fails);
                if (!c.fails) {
                    const qint64 start = std::max<qint64>(c.start, 0);
                    const qint64 length = c.length < 0 ? kSize : c.length;
                    const QByteArray expected =
                        TestServer::generatedBytes(start, std::min(length, kSize - start));
                    EXPECT_TRUE((toFile ? contentOf(get->localfile) : get->responseData) ==
                                expected);
                    EXPECT_EQ(status(*get), c.ignored || c.range.isEmpty() ? 200 : 206);
                }
                ASSERT_TRUE(run(*make<ASWDCmdGetImpl>(server.url("/none"), info)));
                if (!chunked) {
                    EXPECT_EQ(server.connectionCount(), c.keepsConnection ? 1 : 2);
                }
            }
}

TEST(ASWDCmdGetImpl, ACutBodyIsAnErrorAndAnEndlessErrorPageIsNotRead) {
    TestServer server;
    server.addGeneratedFile("/a", 100'000);
    server.fault({.path = "/a", .cutAfter = 50'000});
    const auto cut = make<ASWDCmdGetImpl>(server.url("/a"));
    cut->wantedStart = 0;
    cut->wantedLength = 60'000;
    ASSERT_TRUE(run(*cut));
    EXPECT_EQ(errorCode(*cut), 32768);
    EXPECT_TRUE(cut->responseData.isNull());

    server.fault({.endlessBody = true});
    const auto missing = make<ASWDCmdGetImpl>(server.url("/missing"));
    ASSERT_TRUE(run(*missing));
    EXPECT_EQ(status(*missing), 404);
    EXPECT_TRUE(missing->responseData.isEmpty());
}
