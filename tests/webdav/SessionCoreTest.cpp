#include <functional>

#include <QUrl>

#include "SessionFixture.h"
#include "http/ASHttpConnection.h"
#include "webdav/ASWDCmdPlain.h"

namespace {

class SessionCoreTest : public SessionFixture {
  protected:
    void fail(int times) {
        server.fault({.method = "HEAD", .times = times, .close = true});
        for (int count = 0; count < times; ++count)
            EXPECT_FALSE(session->headMethod(server.url("/"), nullptr));
    }
};

TEST_F(SessionCoreTest, FiveFailuresInARowAreRememberedForGood) {
    useFreshConnections();
    connect();
    fail(4);
    EXPECT_EQ(session->falseCount, 4);
    EXPECT_TRUE(session->headMethod(server.url("/"), nullptr));
    EXPECT_EQ(session->falseCount, 0);
    fail(4);
    EXPECT_FALSE(session->isDarby());
    fail(1);
    EXPECT_TRUE(session->isDarby());
    EXPECT_TRUE(session->headMethod(server.url("/"), nullptr));
    EXPECT_TRUE(session->isDarby());
    EXPECT_EQ(session->falseCount, 0);
}

TEST_F(SessionCoreTest, AStatusIsNoFailureAndARefusedLoginIsOneWithoutAText) {
    connect();
    const auto missing =
        std::make_shared<ASWDCmdHead>(QUrl(server.url("/absent")), session->coninfo);
    EXPECT_TRUE(session->execute(*missing, forget()));
    EXPECT_EQ(session->falseCount, 0);

    server.requireLogin(TestServer::Basic, "user", "secret");
    const auto refused = std::make_shared<ASWDCmdHead>(QUrl(server.url("/")), session->coninfo);
    EXPECT_TRUE(session->execute(*refused, forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(refused->responseHeader().value("statusCode").toInt(), 401);
    EXPECT_EQ(session->falseCount, 1);
}

TEST_F(SessionCoreTest, APasswordChangedOnTheServerEndsEveryRequestAtOnce) {
    server.addFile("/file", "x");
    for (const auto scheme : {TestServer::Basic, TestServer::Digest}) {
        SCOPED_TRACE(scheme);
        server.requireLogin(scheme, "user", "old");
        open(server.url());
        session->coninfo->changeLogin(false, "user", "old");
        ASSERT_TRUE(session->IsDAVServer(QString(), forget()));
        server.requireLogin(scheme, "user", "new");
        const std::function<void()> operations[] = {
            [&] { session->getFileList("/", forget()); },
            [&] { session->filePartDownloadWithSrcpath("/file", 0, -1, forget()); },
            [&] { session->fileDelete("/file", forget()); },
        };
        for (const auto &operation : operations) {
            server.clearRequests();
            operation();
            EXPECT_EQ(code(), 1);
            EXPECT_EQ(server.countOf(""), 2) << "the known login, and that of the new challenge";
        }
        EXPECT_TRUE(person.logins.isEmpty());
        session->coninfo->changeLogin(false, "user", "new");
        EXPECT_EQ(session->getFileList("/", forget()).keys(), QStringList{"file"});
    }
    // Without a challenge there is nothing to answer.
    server.clearRequests();
    server.fault({.method = "PROPFIND", .status = 401});
    EXPECT_TRUE(session->getFileList("/", forget()).isEmpty());
    EXPECT_EQ(code(), 1);
    EXPECT_EQ(server.countOf(""), 1);
}

TEST_F(SessionCoreTest, AUrlThatCannotBeAskedIsAFailure) {
    open("ftp://127.0.0.1/");
    EXPECT_FALSE(session->headMethod("ftp://127.0.0.1/", forget()));
    EXPECT_EQ(session->falseCount, 1);
    EXPECT_NE(code(), kNone);
    EXPECT_FALSE(session->headMethod("", forget()));
    EXPECT_EQ(code(), 16);
}

TEST_F(SessionCoreTest, LogTextsNameTheFailureAndTheUrlButNoLogin) {
    useFreshConnections();
    connect();
    QUrl withLogin(server.url("/a b"));
    withLogin.setUserInfo("user:secret");
    server.fault({.method = "HEAD", .close = true});
    EXPECT_FALSE(session->headMethod(withLogin.toString(QUrl::FullyEncoded), forget()));
    EXPECT_EQ(code(), 0);
    EXPECT_TRUE(output().startsWith("Request Stream Error : http://127.0.0.1:"));
    EXPECT_TRUE(output().contains("/a b\n"));
    EXPECT_FALSE(output().contains("secret"));

    ASHttpConnection::setInspectInterval(std::chrono::milliseconds(5));
    server.fault({.method = "HEAD", .stall = true});
    EXPECT_FALSE(session->headMethod(server.url("/a b"), forget()));
    ASHttpConnection::setInspectInterval(std::chrono::seconds(5));
    EXPECT_EQ(code(), 0);
    EXPECT_TRUE(output().startsWith("Connection Timeout : "));
}

TEST_F(SessionCoreTest, ALoginInTheUrlGoesWhereLoginsAreKept) {
    server.requireLogin(TestServer::Digest, "us er", "p@ss");
    QUrl url(server.url("/"));
    url.setUserName("us er");
    url.setPassword("p@ss");
    open(url.toString(QUrl::FullyEncoded));
    EXPECT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    EXPECT_EQ(session->mountUrl, QUrl(server.url("/")));
    EXPECT_TRUE(person.logins.isEmpty());
}

TEST_F(SessionCoreTest, UrlsKeepTheFolderThatThePersonMeant) {
    struct Case {
        const char *typed;
        const char *mounted;   // what the server is asked for afterwards, on either kind
        const char *withUser;  // after replaceUserPath on another server
        const char *velmora;   // the same on the vendor's server; null: as on another
    };
    // The user is "a+b c", and primary is empty.
    const Case cases[] = {
        {"http://h/a b/%20c", "http://h/a%20b/%20c", "http://h/a%20b/%20c", nullptr},
        {"http://h/100%/C#", "http://h/100%25/C%23", "http://h/100%25/C%23", nullptr},
        {"http://h/a%2Fb%23", "http://h/a%2Fb%23", "http://h/a%2Fb%23", "http://h/a/b%23"},
        {"http://h/c++", "http://h/c++", "http://h/c++", "http://h/c%20%20"},
        {"http://h/x/${primary}/y", "http://h/x//y", "http://h/x/y", nullptr},
        {"http://h/x/${user}/y", "http://h/x//y", "http://h/x/a%2Bb%20c/y", "http://h/x/a+b%20c/y"},
        {"http://[::1]:81/${user}", "http://[::1]:81/", "http://[::1]:81/a%2Bb%20c", nullptr},
    };
    for (const Case &line : cases) {
        SCOPED_TRACE(line.typed);
        open(QString::fromUtf8(line.typed));
        session->user = "a+b c";
        const QString url = session->mountUrl.toString(QUrl::FullyEncoded);
        EXPECT_EQ(session->excludeReplaceString(url).toStdString(), line.mounted);
        EXPECT_EQ(session->replaceUserPath(url).toStdString(), line.withUser);
    }
    connectToVelmora();
    session->user = "a+b c";
    session->primary = QString();
    for (const Case &line : cases) {
        const VDWebDAVConnect typed(session->coninfo, QString::fromUtf8(line.typed));
        EXPECT_EQ(
            session->replaceUserPath(typed.mountUrl.toString(QUrl::FullyEncoded)).toStdString(),
            line.velmora ? line.velmora : line.withUser);
    }
}

}  // namespace
