#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTimer>

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

    const std::pair<QString, const char *> cases[] = {{QString(), "AppDelegate_5"},
                                                      {"", "AppDelegate_2"},
                                                      {"///", "AppDelegate_2"},
                                                      {"/Volumes//", "AppDelegate_2"},
                                                      {"relative/path", "AppDelegate_1"},
                                                      {"~/disk", "AppDelegate_1"},
                                                      {root + "///", nullptr},
                                                      {root + "/new/", nullptr},
                                                      {root + "/file/", "AppDelegate_3"},
                                                      {root + "/no/parent", "AppDelegate_4"},
                                                      {root + "/file/below", "AppDelegate_4"}};
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

    info.chengeMountPoint = false;
    EXPECT_TRUE(check.checkLogin(info, "nonsense")) << "a default mount point isn't looked at";
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(identities.asked, 0);

    for (const char *url : {"ftp://h/", "", "//h/", "httpx://h/"}) {
        info = connectionTo(url);
        EXPECT_FALSE(check.checkLogin(info, "/Volumes")) << url;
        EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_67"))) << url;
    }
}

TEST_F(LoginCheckTest, Failures) {
    constexpr int kAlways = Fault::kAlways;
    const struct {
        const char *key;  // null: passing trouble
        Fault fault;
    } cases[] = {
        {"AppDelegate_9", {.method = "OPTIONS", .status = 403}},
        {"AppDelegate_9", {.method = "OPTIONS", .status = 400}},
        {"AppDelegate_8", {.method = "OPTIONS", .times = kAlways, .status = 500}},
        {"AppDelegate_8", {.method = "OPTIONS", .times = kAlways, .status = 503}},
        {"AppDelegate_10", {.method = "OPTIONS", .status = 404}},
        {"AppDelegate_6", {.method = "OPTIONS", .times = kAlways, .reset = true}},
        {"AppDelegate_11", {.method = "PROPFIND", .times = kAlways, .status = 404}},
        {"AppDelegate_11", {.method = "PROPFIND", .times = kAlways, .xml = Fault::Xml::garbled}},
        {nullptr, {.method = "OPTIONS", .times = 3, .status = 503}},
    };
    for (const auto &[key, fault] : cases) {
        TestServer server;
        server.fault(fault);
        VDConnectionInfo info = connectionTo(server.url());
        EXPECT_EQ(check.checkLogin(info, {}) == nullptr, key != nullptr);
        EXPECT_EQ(told(), key ? QStringList(localizedText(key)) : QStringList());
    }

    TestServer server;
    server.addFile("/file", "x");
    VDConnectionInfo info = connectionTo(server.url("/file"));
    EXPECT_FALSE(check.checkLogin(info, {}));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_11")));

    server.setDialect([](TestServer::Dialect &dialect) { dialect.dav = false; });
    info = connectionTo(server.url());
    EXPECT_FALSE(check.checkLogin(info, {}));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_7")));
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
              localizedText("KQSelfServerCertificateWindowController_0", QString("127.0.0.1")));
}

TEST_F(LoginCheckTest, EventsAreServedWhileTheProxyIsWorkedOut) {
    struct SlowProxy : SystemProxySource {
        std::optional<ProxyConf> getProxy(const QUrl &) const override {
            EXPECT_TRUE(isServed.tryAcquire(1, 20'000));
            return std::nullopt;
        }
        mutable QSemaphore isServed;
    } slow;
    TestServer server;
    VDConnectionInfo info = connectionTo(server.url());
    info.isUseProxy = true;
    info.isProxyAuto = true;
    for (const bool isCancelled : {false, true}) {
        server.clearRequests();
        LoginCheck patient(slow, identities);
        QTimer::singleShot(0, [&] {
            if (isCancelled)
                patient.cancel();
            slow.isServed.release();
        });
        EXPECT_EQ(patient.checkLogin(info, {}) == nullptr, isCancelled);
        EXPECT_EQ(server.requests().isEmpty(), isCancelled);
        EXPECT_EQ(told(), QStringList());
    }
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
