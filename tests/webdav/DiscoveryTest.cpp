#include <pwd.h>
#include <unistd.h>

#include "SessionFixture.h"
#include "common/Text.h"

namespace {

class DiscoveryTest : public SessionFixture {};

TEST_F(DiscoveryTest, TheDavFieldIsSearchedForAOne) {
    const std::pair<const char *, bool> cases[] = {
        {"1,2", true}, {"2, 1", true}, {"2", false}, {"10", true}, {nullptr, false}};
    for (const auto &[value, isDAV] : cases) {
        SCOPED_TRACE(value ? value : "absent");
        server.setOptionsHeader("DAV", value);
        open(server.url());
        EXPECT_EQ(session->IsDAVServer(QString(), forget()), isDAV);
        EXPECT_EQ(code(), kNone);
        EXPECT_FALSE(session->isVelmora());
    }
    server.fault({.status = 204, .headers = {{"DAV", "1"}}});
    open(server.url());
    EXPECT_TRUE(session->IsDAVServer(QString(), forget()));
}

TEST_F(DiscoveryTest, LettersBecomePermissions) {
    struct Case {
        const char *letters;
        bool publicWeb;
        bool sendMail;
        bool readonly;
        qint64 permission;
    };
    const Case cases[] = {
        {"w,u,wm,um,wxu,uxu,wx,ux,wxa,uxa", true, true, true, 2047},
        {"w,u,wm,um,wxu,uxu,wx,ux,wxa,uxa", true, false, false, 2047 - 1 - 8 - 16},
        {"w,u,wm,um", false, true, false, 8 + 16},
        {"w,u", false, false, true, 1},
        {"w, u", true, false, false, 2},
        {"W,u,q,", true, false, false, 4},
        {"", true, true, false, 0},
    };
    server.makeVelmora();
    for (const Case &line : cases) {
        SCOPED_TRACE(line.letters);
        server.setOptionsHeader("X-KQ-Velmora-Enable", line.letters);
        server.setOptionsHeader("X-KQ-Publicweb-Enable", line.publicWeb ? "0" : nullptr);
        server.setOptionsHeader("X-KQ-Sendmail-Enable", line.sendMail ? "1" : nullptr);
        server.setOptionsHeader("x-kq-readonly-enable", line.readonly ? "0" : nullptr);
        connect();
        EXPECT_EQ(session->velmoraPermission, line.permission);
    }
}

TEST_F(DiscoveryTest, ReadsWhatTheVendorsServerTells) {
    server.makeVelmora();
    server.setOptionsHeader("X-KQ-Velmora-Version", nullptr);
    server.setOptionsHeader("x-kq-velmora-version", "2.13.1");
    server.setOptionsHeader("X-KQ-Primary", "%E6%9C%AC+1");
    server.setOptionsHeader("X-KQ-User", "a%40b");
    server.setOptionsHeader("X-KQ-CryptoFile-Enable", "yes");
    server.setOptionsHeader("X-KQ-Host", "http://pub%2Elic/x//");
    open(server.url("/dav"));
    server.addFolder("/dav");
    session->coninfo->username = "login";
    ASSERT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    EXPECT_TRUE(session->isVelmora());
    EXPECT_EQ(session->velmoraVersion, "2.13.1");
    EXPECT_EQ(session->primary, QStringLiteral("\u672c 1"));
    EXPECT_EQ(session->serverUser, "a@b");
    EXPECT_EQ(session->cryptofileversion, 1);
    EXPECT_EQ(session->publicHost, "http://pub.lic/x");
    EXPECT_EQ(session->user, "login");
    EXPECT_EQ(session->serverUrl, QUrl(QStringLiteral("http://127.0.0.1:%1").arg(server.port())));

    server.setOptionsHeader("X-KQ-Host", "bare.host");
    connect();
    EXPECT_EQ(session->publicHost, "http://bare.host");
    EXPECT_EQ(session->user, QString::fromLocal8Bit(getpwuid(geteuid())->pw_name));

    server.setOptionsHeader("X-KQ-Host", nullptr);
    server.setOptionsHeader("X-KQ-CryptoFile-Enable", "2");
    connect();
    EXPECT_EQ(session->publicHost, session->serverUrl.toString());
    EXPECT_EQ(session->cryptofileversion, 2);
}

TEST_F(DiscoveryTest, AsksOnceUnlessForced) {
    server.makeVelmora();
    server.setOptionsHeader("X-KQ-Readonly-Enable", "1");
    connect();
    EXPECT_TRUE(session->isVelmora(QString(), forget()));
    EXPECT_TRUE(session->IsDAVServer(QString(), forget()));
    EXPECT_EQ(server.countOf("OPTIONS"), 0);

    server.setOptionsHeader("X-KQ-Readonly-Enable", nullptr);
    EXPECT_TRUE(session->isVelmora(QString(), true, forget()));
    EXPECT_EQ(server.countOf("OPTIONS"), 1);
    EXPECT_EQ(session->velmoraPermission, 0);
}

TEST_F(DiscoveryTest, TheUserIsUnknownWhenAskingAndKnownAfterwards) {
    server.makeVelmora();
    server.setOptionsHeader("X-KQ-Primary", "");
    open(server.url() + "home/${primary}/${user}");
    session->coninfo->username = "jo";
    EXPECT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    EXPECT_EQ(server.lastRequest("OPTIONS").target, "/home//");
    EXPECT_EQ(session->mountUrl.path(), "/home/jo");
}

TEST_F(DiscoveryTest, TheLoginFormComesBackUntilTheServerIsContent) {
    server.requireLogin(TestServer::Digest, "jo", "right");
    person.loginAnswers = {{"jo", "wrong"}, {"jo", "right"}};
    open(server.url());
    session->coninfo->username = "preset";
    EXPECT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    ASSERT_EQ(person.logins.size(), 2);
    EXPECT_TRUE(person.logins[0].title.isEmpty());
    EXPECT_EQ(person.logins[0].server, "127.0.0.1");
    EXPECT_EQ(person.logins[0].username, "preset");
    EXPECT_EQ(person.logins[1].password, "wrong");
    EXPECT_EQ(session->coninfo->authenticationScheme, "Digest");
    EXPECT_EQ(session->user, "jo");

    open(server.url());
    EXPECT_FALSE(session->IsDAVServer(QString(), forget()));
    EXPECT_EQ(code(), 22);
    EXPECT_EQ(person.logins.size(), 3);
}

TEST_F(DiscoveryTest, AProxysLoginIsAskedForUnderItsOwnTitle) {
    TestServer proxy(TestServer::HttpProxy);
    proxy.requireLogin(TestServer::Basic, "px", "pw");
    person.loginAnswers = {{"px", "pw"}};
    open(server.url());
    session->coninfo->isUseProxy = true;
    session->coninfo->proxyHost = "127.0.0.1";
    session->coninfo->proxyPort = proxy.port();
    EXPECT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    ASSERT_EQ(person.logins.size(), 1);
    EXPECT_EQ(person.logins[0].title, localizedText("VDWebDAVConnect_0"));
    EXPECT_TRUE(session->coninfo->isUseProxyAuthorization);
    EXPECT_FALSE(session->coninfo->isUseAuthorization);
}

TEST_F(DiscoveryTest, AnUntrustedCertificateIsTheUsersToAccept) {
    TestServer secure(TestServer::Https);
    open(secure.url());
    EXPECT_FALSE(session->IsDAVServer(QString(), forget()));
    EXPECT_EQ(code(), 22);
    EXPECT_EQ(secure.countOf("OPTIONS"), 0);
    ASSERT_EQ(person.alerts.size(), 1);
    EXPECT_EQ(person.alerts[0].buttons,
              QStringList({localizedText("Common_Button_NO"), localizedText("Common_Button_YES")}));
    EXPECT_TRUE(session->coninfo->validatesSecureCertificate);

    person.onAlert = [](const Alert &) { return 1; };
    EXPECT_TRUE(session->IsDAVServer(QString(), forget())) << code();
    EXPECT_EQ(person.alerts.size(), 2);
    EXPECT_FALSE(session->coninfo->validatesSecureCertificate);
    EXPECT_TRUE(session->headMethod(secure.url(), forget())) << code();
    EXPECT_EQ(person.alerts.size(), 2);
}

}  // namespace
