#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "common/Text.h"
#include "connection/ClientIdentitySource.h"
#include "connection/LoginCheck.h"
#include "connection/SystemProxySource.h"
#include "connection/VDConnectionInfo.h"
#include "support/RecordingInterface.h"
#include "support/TestServer.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

class NoProxy : public SystemProxySource {
  public:
    std::optional<ProxyConf> getProxy(const QUrl &) const override { return std::nullopt; }
};

class OneIdentity : public ClientIdentitySource {
  public:
    QList<ClientIdentity> getClientIdentity() override {
        ++asked;
        return identities;
    }
    QList<ClientIdentity> identities;
    int asked = 0;
};

class LoginCheckTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    VDConnectionInfo connectionTo(const QString &url) const {
        VDConnectionInfo info;
        info.connectionName = "Office";
        info.RemoteURL = url;
        return info;
    }

    // The texts of the alerts since the last call.
    QStringList told() {
        QStringList texts;
        for (const Alert &alert : std::exchange(interface.alerts, {})) {
            EXPECT_EQ(alert.title, localizedText("Common_Error_Title"));
            texts.append(alert.text);
        }
        return texts;
    }

    NoProxy proxies;
    OneIdentity identities;
    LoginCheck check{proxies, identities};
    RecordingInterface interface;
};

}  // namespace

TEST_F(LoginCheckTest, MountPoints) {
    QTemporaryDir folder;
    const QString root = folder.path();
    QFile file(root + "/file");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));

    const std::vector<std::pair<QString, const char *>> cases{
        {QString(), "AppDelegate_5"},
        {"", "AppDelegate_2"},
        {"/", "AppDelegate_2"},
        {"///", "AppDelegate_2"},
        {"/Volumes", "AppDelegate_2"},
        {"/Volumes//", "AppDelegate_2"},
        {"relative/path", "AppDelegate_1"},
        {"~/disk", "AppDelegate_1"},
        {root, nullptr},
        {root + "///", nullptr},
        {root + "/new", nullptr},
        {root + "/new/", nullptr},
        {root + "/file", "AppDelegate_3"},
        {root + "/file/", "AppDelegate_3"},
        {root + "/no/parent", "AppDelegate_4"},
        {root + "/file/below", "AppDelegate_4"},
    };
    for (const auto &[path, key] : cases)
        EXPECT_STREQ(LoginCheck::mountPointProblem(path), key) << qPrintable(path);
}

TEST_F(LoginCheckTest, RefusalsBeforeAnyRequest) {
    TestServer server;
    VDConnectionInfo info = connectionTo(server.url());
    info.chengeMountPoint = true;
    EXPECT_FALSE(check.checkLogin(info, "/Volumes"));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_2")));
    EXPECT_EQ(server.connectionCount(), 0);

    for (const char *url : {"ftp://h/", "", "//h/", "httpx://h/"}) {
        info = connectionTo(url);
        EXPECT_FALSE(check.checkLogin(info, "/Volumes")) << url;
        EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_67"))) << url;
    }
}

TEST_F(LoginCheckTest, MountPointOfADefaultIsNotLookedAt) {
    TestServer server;
    VDConnectionInfo info = connectionTo(server.url());
    EXPECT_TRUE(check.checkLogin(info, "nonsense"));
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(identities.asked, 0);
}

TEST_F(LoginCheckTest, Failures) {
    struct Case {
        const char *name;
        Fault fault;
        const char *key;
    };
    const std::vector<Case> cases{
        {"forbidden", {.method = "OPTIONS", .status = 403}, "AppDelegate_9"},
        {"bad request", {.method = "OPTIONS", .status = 400}, "AppDelegate_9"},
        {"server error",
         {.method = "OPTIONS", .times = Fault::kAlways, .status = 500},
         "AppDelegate_8"},
        {"too busy",
         {.method = "OPTIONS", .times = Fault::kAlways, .status = 503},
         "AppDelegate_8"},
        {"not found", {.method = "OPTIONS", .status = 404}, "AppDelegate_10"},
        {"cut off", {.method = "OPTIONS", .times = Fault::kAlways, .reset = true}, "AppDelegate_6"},
        {"folder gone",
         {.method = "PROPFIND", .times = Fault::kAlways, .status = 404},
         "AppDelegate_11"},
        {"folder failing",
         {.method = "PROPFIND", .times = Fault::kAlways, .status = 500},
         "AppDelegate_11"},
        {"folder garbled",
         {.method = "PROPFIND", .times = Fault::kAlways, .xml = Fault::Xml::garbled},
         "AppDelegate_11"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestServer server;
        server.fault(c.fault);
        VDConnectionInfo info = connectionTo(server.url());
        EXPECT_FALSE(check.checkLogin(info, {}));
        EXPECT_EQ(told(), QStringList(localizedText(c.key)));
    }

    TestServer plain;
    plain.setDialect([](TestServer::Dialect &dialect) { dialect.dav = false; });
    VDConnectionInfo info = connectionTo(plain.url());
    EXPECT_FALSE(check.checkLogin(info, {}));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_7")));

    TestServer file;
    file.addFile("/file", "x");
    info = connectionTo(file.url("/file"));
    EXPECT_FALSE(check.checkLogin(info, {}));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_11")));
}

TEST_F(LoginCheckTest, PassingTroubleIsNoFailure) {
    TestServer server;
    server.fault({.method = "OPTIONS", .times = 3, .status = 503});
    VDConnectionInfo info = connectionTo(server.url());
    EXPECT_TRUE(check.checkLogin(info, {}));
    EXPECT_EQ(told(), QStringList());
}

TEST_F(LoginCheckTest, LoginIsAskedForUntilItFits) {
    TestServer server;
    server.requireLogin(TestServer::Digest, "me", "secret");
    VDConnectionInfo info = connectionTo(server.url());
    info.username = "me";
    info.password = "old";
    interface.loginAnswers = {{"me", "wrong"}, {"me", "secret"}};

    const auto session = check.checkLogin(info, {});
    ASSERT_TRUE(session);
    EXPECT_EQ(session->coninfo->password, "secret");
    EXPECT_EQ(info.password, "old") << "the caller decides what is kept";
    ASSERT_EQ(interface.logins.size(), 2);
    EXPECT_EQ(interface.logins.first().username, "me");
    EXPECT_EQ(interface.logins.first().password, "old");
    EXPECT_EQ(told(), QStringList());
}

TEST_F(LoginCheckTest, CancellingNeedsNoMessage) {
    TestServer server;
    server.requireLogin(TestServer::Basic, "me", "secret");
    VDConnectionInfo info = connectionTo(server.url());
    EXPECT_FALSE(check.checkLogin(info, {}));
    EXPECT_EQ(interface.logins.size(), 1);
    EXPECT_EQ(told(), QStringList());

    TestServer untrusted(TestServer::Https);
    info = connectionTo(untrusted.url());
    EXPECT_FALSE(check.checkLogin(info, {}));
    ASSERT_EQ(interface.alerts.size(), 1);
    EXPECT_EQ(interface.alerts.first().text,
              localizedText("KQSelfServerCertificateWindowController_0"));
}

TEST_F(LoginCheckTest, ChosenIdentityIsKeptInTheRecord) {
    TestServer server;
    VDConnectionInfo info = connectionTo(server.url());
    info.isUseCert = true;

    EXPECT_TRUE(check.checkLogin(info, {})) << "a cancelled choice goes on without one";
    EXPECT_EQ(identities.asked, 1);
    EXPECT_TRUE(info.certArr.isEmpty());

    identities.identities = {{"id", "cert.pem", "key.pem", "PEM", {}}};
    const auto session = check.checkLogin(info, {});
    ASSERT_TRUE(session);
    EXPECT_EQ(info.certArr, identities.identities);
    EXPECT_EQ(session->coninfo->clientCertificates, identities.identities);

    EXPECT_TRUE(check.checkLogin(info, {}));
    EXPECT_EQ(identities.asked, 2) << "a kept one isn't asked for again";
}
