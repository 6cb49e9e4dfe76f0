#include <thread>

#include <QTemporaryFile>

#include "Exchange.h"
#include "support/TestServer.h"

using namespace std::chrono_literals;

namespace {

const QString kUser = QStringLiteral("ann");
const QString kPassword = QString::fromUtf8("s3cret, \"ü\"");

std::shared_ptr<ASHttpConnectInfo> withLogin(const QString &password = kPassword) {
    auto info = std::make_shared<ASHttpConnectInfo>();
    info->isUseAuthorization = true;
    info->username = kUser;
    info->password = password;
    return info;
}

std::shared_ptr<ASHttpConnectInfo> unchecked() {
    auto info = std::make_shared<ASHttpConnectInfo>();
    info->validatesSecureCertificate = false;
    return info;
}

std::shared_ptr<ASHttpConnectInfo> through(const TestServer &proxy, bool https,
                                           const QString &password = {}) {
    auto info = unchecked();
    info->isUseProxy = true;
    info->isUseProxyHTTPS = https;
    info->proxyHost = QStringLiteral("127.0.0.1");
    info->proxyPort = proxy.port();
    info->isUseProxyAuthorization = !password.isNull();
    info->proxyUsername = kUser;
    info->proxyPassword = password;
    return info;
}

// The end of a GET, and its status.
std::string outcome(const std::shared_ptr<ASHttpConnectInfo> &info, const QString &url) {
    Exchange exchange(info);
    EXPECT_TRUE(exchange.get(url));
    return (exchange.end() + ' ' + QString::number(exchange.status())).toStdString();
}

}  // namespace

TEST(ASHttpConnection, DeliversHeadAndBody) {
    TestServer server;
    server.addFile("/a b.txt", "hello");
    server.setAnswerHeader("GET", "/a b.txt", "x-MiXed", "one\r\n HTTP/1.1 500 folded");
    Exchange exchange;
    ASSERT_TRUE(exchange.get(server.url("/a b.txt")));
    EXPECT_EQ(exchange.end(), "response");
    EXPECT_EQ(exchange.body, "hello");
    EXPECT_EQ(exchange.connection.processedResponseBodyBytes(), 5);
    const QVariantMap header = exchange.connection.responseHeader();
    EXPECT_EQ(header.value("statusCode").toInt(), 200);
    EXPECT_TRUE(header.value("statusString").toString().startsWith("HTTP/1.1 200"));
    EXPECT_EQ(header.value("x-MiXed").toString(), "one HTTP/1.1 500 folded");
    EXPECT_FALSE(exchange.make("GET", server.url())) << "the request is made once";
}

TEST(ASHttpConnection, SendsItsFieldsAndNoOthers) {
    TestServer server;
    server.addFile("/a", "x");
    Exchange exchange;
    exchange.make("GET", server.url("/a"));
    exchange.connection.setHeaderField("X-Empty", "");
    exchange.connection.setHeaderField("X-Gone", "1");
    exchange.connection.setHeaderField("x-gone", QString());
    exchange.connection.setHeaderField("X-Split", "a\r\nX-Injected: b");
    exchange.connection.setHeaderField("X-Text", QString::fromUtf8("日本"));
    ASSERT_TRUE(exchange.run());
    EXPECT_EQ(server.lastRequest().head,
              "GET /a HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(server.port()) +
                  "\r\nX-Empty:\r\nX-Split: aX-Injected: b\r\nX-Text: 日本\r\n");
}

TEST(ASHttpConnection, AUrlThatCannotBeAskedFailsBeforeAnythingIsSent) {
    for (const char *url : {"", "ftp://127.0.0.1/a", "http:///a"}) {
        Exchange exchange;
        EXPECT_FALSE(exchange.make("GET", url)) << url;
        EXPECT_EQ(exchange.errorCode(), 4000) << url;
        EXPECT_FALSE(exchange.send()) << url;
        EXPECT_EQ(exchange.events, QStringList("unestablished")) << url;
    }
    Exchange unmade;
    EXPECT_FALSE(unmade.send());
    EXPECT_EQ(unmade.errorCode(), 4004);
}

TEST(ASHttpConnection, UsesOneConnectionForManyRequests) {
    TestServer server;
    server.addFile("/a", QByteArray(1000, 'a'));
    const auto info = std::make_shared<ASHttpConnectInfo>();
    const auto connectionsAfter = [&](int requests) {
        for (int i = 0; i < requests; ++i)
            EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
        return server.connectionCount();
    };
    EXPECT_EQ(connectionsAfter(5), 1);
    server.dropConnections();
    EXPECT_EQ(connectionsAfter(1), 2) << "gone while idle, and nobody notices";
    server.setDialect([](TestServer::Dialect &dialect) { dialect.keepAlive = false; });
    EXPECT_EQ(connectionsAfter(3), 4) << "the first used the open one, then one each";
}

TEST(ASHttpConnection, LoginIsLearntOnceAndThenSentAtOnce) {
    for (const auto scheme : {TestServer::Basic, TestServer::Digest}) {
        SCOPED_TRACE(scheme);
        TestServer server;
        server.requireLogin(scheme, kUser, kPassword, "a realm, with comma");
        server.addFile("/a", "content");
        const auto info = withLogin();
        Exchange first(info);
        ASSERT_TRUE(first.get(server.url("/a")));
        EXPECT_EQ(first.body, "content");
        EXPECT_EQ(server.requests().size(), 2);
        EXPECT_FALSE(server.requests().first().has("Authorization"));
        EXPECT_EQ(info->authenticationScheme, scheme == TestServer::Basic ? "Basic" : "Digest");

        for (int i = 0; i < 2; ++i) {
            server.clearRequests();
            Exchange later(info);
            later.requestBody = "<x/>";
            later.make("PROPFIND", server.url("/a"));
            ASSERT_TRUE(later.run());
            EXPECT_EQ(later.status(), 207);
            EXPECT_EQ(server.requests().size(), 1) << "no 401 in between";
            EXPECT_EQ(server.lastRequest().body, "<x/>");
        }
    }
}

TEST(ASHttpConnection, ARefusedLoginEndsTheExchange) {
    for (const auto scheme : {TestServer::Basic, TestServer::Digest}) {
        SCOPED_TRACE(scheme);
        TestServer server;
        server.requireLogin(scheme, kUser, kPassword);
        server.addFile("/a", "x");
        const auto info = withLogin("wrong");
        EXPECT_EQ(outcome(info, server.url("/a")), "refused 401");
        EXPECT_EQ(server.requests().size(), 2);

        // The next request tries the remembered scheme, and may ask once more.
        server.clearRequests();
        EXPECT_EQ(outcome(info, server.url("/a")), "refused 401");
        EXPECT_LE(server.requests().size(), 2);

        info->changeLogin(false, kUser, kPassword);
        EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
    }
}

TEST(ASHttpConnection, WithoutALoginOrAKnownSchemeNothingIsAnswered) {
    TestServer server;
    server.requireLogin(TestServer::Basic, kUser, kPassword);
    Exchange none(std::make_shared<ASHttpConnectInfo>());
    ASSERT_TRUE(none.get(server.url("/a")));
    EXPECT_EQ(none.end(), "refused");
    EXPECT_EQ(none.challenges, 0);
    EXPECT_EQ(none.status(), 401);
    EXPECT_EQ(server.requests().size(), 1);

    server.fault({.times = Fault::kAlways,
                  .status = 401,
                  .headers = {{"WWW-Authenticate", "NTLM"}, {"WWW-Authenticate", "Negotiate"}}});
    server.clearRequests();
    Exchange ntlm(withLogin());
    ASSERT_TRUE(ntlm.get(server.url("/a")));
    EXPECT_EQ(ntlm.end(), "refused");
    EXPECT_EQ(ntlm.errorCode(), 4001);
    EXPECT_EQ(server.requests().size(), 1);
}

TEST(ASHttpConnection, AStaleNonceIsAnsweredWithTheWholeBody) {
    TestServer server;
    server.requireLogin(TestServer::Digest, kUser, kPassword);
    const auto info = withLogin();
    ASSERT_TRUE(Exchange(info).get(server.url("/")));
    for (const bool told : {true, false}) {
        SCOPED_TRACE(told);
        if (told)
            server.expireNonce();
        else
            server.requireLogin(TestServer::Digest, kUser, kPassword);
        Exchange put(info);
        put.requestBody = QByteArray(100'000, 'p');
        put.make("PUT", server.url("/p"));
        ASSERT_TRUE(put.run());
        EXPECT_EQ(put.end(), "response");
        EXPECT_EQ(server.content("/p"), put.requestBody);
        server.remove("/p");
    }
}

TEST(ASHttpConnection, ACookieOfTheChallengeGoesWithItsAnswer) {
    TestServer server;
    server.requireLogin(TestServer::Basic, kUser, kPassword);
    server.addFile("/a", "x");
    server.fault({.status = 401,
                  .headers = {{"WWW-Authenticate", "Basic realm=\"r\""},
                              {"Set-Cookie", "sid=7; Path=/elsewhere; Secure"}}});
    EXPECT_EQ(outcome(withLogin(), server.url("/a")), "response 200");
    EXPECT_EQ(server.lastRequest().header("Cookie"), "sid=7");
}

TEST(ASHttpConnection, RedirectsKeepMethodAndBody) {
    for (const int status : {301, 302, 307, 308}) {
        SCOPED_TRACE(status);
        TestServer server;
        server.addFolder("/new");
        server.fault(
            {.path = "/old", .status = status, .body = "moved", .redirect = "/new/?a=%20#f"});
        Exchange exchange;
        exchange.requestBody = "<x/>";
        exchange.make("PROPFIND", server.url("/old"));
        exchange.connection.setHeaderField("Depth", "0");
        exchange.connection.setHeaderField("If", "(<t>)");
        ASSERT_TRUE(exchange.run());
        const RecordedRequest last = server.lastRequest();
        EXPECT_EQ(last.target, "/new/?a=%20");
        EXPECT_EQ(last.header("If"), "(<t>)");
        EXPECT_EQ(last.method, "PROPFIND");
        EXPECT_EQ(last.body, "<x/>");
        EXPECT_FALSE(exchange.body.contains("moved"));
    }
}

TEST(ASHttpConnection, RedirectsThatAreNotFollowed) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .redirect = "/loop"});
    EXPECT_EQ(outcome(nullptr, server.url("/loop")).substr(0, 11), "interrupted");
    EXPECT_EQ(server.requests().size(), 11);

    for (const char *target : {"ftp://127.0.0.1/", "file:///etc/passwd", "http:///"}) {
        server.clearFaults();
        server.fault({.redirect = target});
        EXPECT_EQ(outcome(nullptr, server.url("/x")), "response 302") << target;
    }

    // A change isn't done by the page it is sent to.
    server.addFile("/login", "who are you?");
    for (const char *method : {"PUT", "DELETE", "GET"}) {
        server.fault({.path = "/a", .status = 303, .redirect = "/login"});
        Exchange exchange;
        exchange.make(method, server.url("/a"));
        ASSERT_TRUE(exchange.run());
        EXPECT_EQ(exchange.end(), "response");
        EXPECT_EQ(exchange.status(), QByteArray(method) == "GET" ? 200 : 303) << method;
    }
}

TEST(ASHttpConnection, SecretsStayAtHomeOnARedirect) {
    for (const auto scheme : {TestServer::Basic, TestServer::Digest}) {
        SCOPED_TRACE(scheme);
        TestServer home;
        TestServer stranger;
        home.requireLogin(scheme, kUser, kPassword);
        home.addFile("/a", "x");
        const auto info = withLogin();
        ASSERT_TRUE(Exchange(info).get(home.url("/a")));
        stranger.requireLogin(scheme, kUser, kPassword);
        stranger.setAnswerHeader({}, {}, "Set-Cookie", "planted=1");
        home.fault({.times = 2, .redirect = stranger.url("/b").toUtf8()});
        Exchange exchange(info);
        exchange.make("PUT", home.url("/a"));
        exchange.requestBody = "body";
        for (const char *name : {"Cookie", "If", "Lock-Token", "X-Harmless"})
            exchange.connection.setHeaderField(name, "<1>");
        ASSERT_TRUE(exchange.run());
        EXPECT_EQ(exchange.end(), "refused");
        ASSERT_EQ(stranger.requests().size(), 1);
        const RecordedRequest abroad = stranger.lastRequest();
        EXPECT_EQ(abroad.body, "body");
        EXPECT_TRUE(abroad.has("X-Harmless"));
        for (const char *name : {"Authorization", "Cookie", "If", "Lock-Token"})
            EXPECT_FALSE(abroad.has(name)) << name;
        EXPECT_TRUE(info->cookieValue().isNull()) << "what a stranger sets isn't for home";

        // The server's own login still works without a new question.
        home.clearFaults();
        home.clearRequests();
        EXPECT_EQ(outcome(info, home.url("/a")), "response 200");
        EXPECT_EQ(home.requests().size(), 1);
    }
}

TEST(ASHttpConnection, ABrokenAnswerIsAnErrorAndNotAShortOne) {
    QByteArray manyFields = "0";
    for (int i = 0; i < 1100; ++i)
        manyFields += "\r\nX-" + QByteArray::number(i) + ": ";
    const QByteArray longField = QByteArray("0\r\n 1").repeated(60'000);
    struct Case {
        const char *name;
        Fault fault;
        bool chunked = false;
    };
    const Case cases[] = {
        {"closed early", {.times = Fault::kAlways, .cutAfter = 1000}},
        {"reset", {.times = Fault::kAlways, .reset = true, .cutAfter = 1000}},
        {"shorter than announced", {.times = Fault::kAlways, .lengthDelta = -1}},
        {"a chunk missing", {.times = Fault::kAlways, .cutAfter = 1000}, true},
        {"no answer", {.times = Fault::kAlways, .close = true}},
        {"a head of many fields", {.times = Fault::kAlways, .headers = {{"X-A", manyFields}}}},
        {"a head of one long field", {.times = Fault::kAlways, .headers = {{"X-A", longField}}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestServer server;
        server.addFile("/a", QByteArray(200'000, 'a'));
        server.setDialect([&c](TestServer::Dialect &d) { d.chunkedAnswers = c.chunked; });
        server.fault(c.fault);
        Exchange exchange;
        ASSERT_TRUE(exchange.get(server.url("/a")));
        EXPECT_EQ(exchange.end(), "interrupted");
        EXPECT_EQ(exchange.errorCode(), 4005);
        EXPECT_FALSE(exchange.connection.error->userInfo.value("OUTPUT").toString().isEmpty());
        server.clearFaults();
        Exchange after;
        ASSERT_TRUE(after.get(server.url("/a")));
        EXPECT_EQ(after.body.size(), 200'000);
    }
}

TEST(ASHttpConnection, ALongerBodyThanAnnouncedDoesNotReachTheNextAnswer) {
    TestServer server;
    server.addFile("/a", "0123456789");
    server.fault({.lengthDelta = 5});
    const auto info = std::make_shared<ASHttpConnectInfo>();
    for (int i = 0; i < 2; ++i) {
        Exchange exchange(info);
        ASSERT_TRUE(exchange.get(server.url("/a")));
        EXPECT_EQ(exchange.body, "0123456789");
    }
}

TEST(ASHttpConnection, NoServerAndNoHost) {
    const quint16 port = TestServer().port();
    for (const QString &url : {QStringLiteral("http://bob:pw@127.0.0.1:%1/").arg(port),
                               QStringLiteral("http://bob:pw@no-such-host.invalid/")}) {
        Exchange exchange;
        ASSERT_TRUE(exchange.get(url));
        EXPECT_EQ(exchange.end(), "interrupted");
        EXPECT_EQ(exchange.errorCode(), 4005);
        EXPECT_TRUE(exchange.connection.responseHeader().isEmpty());
        EXPECT_FALSE(exchange.connection.failureText.contains("pw"));
    }
}

class IdleWatch : public testing::Test {
  protected:
    void SetUp() override { ASHttpConnection::setInspectInterval(20ms); }  // 1 s is 4 ms
    void TearDown() override { ASHttpConnection::setInspectInterval(5s); }
};

TEST_F(IdleWatch, EndsASilentExchangeButNotASlowOne) {
    TestServer server;
    server.addFile("/a", QByteArray(200, 'a'));
    for (const Fault &fault : {Fault{.stall = true}, Fault{.stallAfter = 10}}) {
        server.fault(fault);
        Exchange exchange;
        exchange.limit = 10.0;
        const auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(exchange.get(server.url("/a")));
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(exchange.end(), "interrupted");
        EXPECT_EQ(exchange.errorCode(), 4006);
        EXPECT_GE(took, 40ms);
        EXPECT_LT(took, 400ms);
        server.clearFaults();
        server.releaseStalled();
    }
    server.fault({.bytesPerSecond = 400});  // half a second in all, a piece every 50 ms
    Exchange slow;
    slow.limit = 50.0;  // 200 ms
    ASSERT_TRUE(slow.get(server.url("/a")));
    EXPECT_EQ(slow.end(), "response");
    EXPECT_EQ(slow.body.size(), 200);
}

TEST(ASHttpConnectionTls, TrustDecidesAndTheMarkTellsWhy) {
    Certificate::Options other;
    other.names = {QStringLiteral("elsewhere.example")};
    struct Case {
        const char *name;
        Certificate::Options certificate;
        bool trusted;
        bool validates;
        bool works;
    };
    const Case cases[] = {
        {"self-signed", {}, false, true, false},
        {"self-signed, unchecked", {}, false, false, true},
        {"trusted", {}, true, true, true},
        {"trusted, other name", other, true, true, false},
        {"other name, unchecked", other, false, false, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestServer server(TestServer::Https, c.certificate);
        server.addFile("/a", "x");
        QTemporaryFile trust;
        ASSERT_TRUE(trust.open());
        trust.write(server.certificatePem());
        trust.flush();
        if (c.trusted)
            qputenv("SSL_CERT_FILE", trust.fileName().toUtf8());
        const auto info = std::make_shared<ASHttpConnectInfo>();
        info->validatesSecureCertificate = c.validates;
        Exchange exchange(info);
        ASSERT_TRUE(exchange.get(server.url("/a")));
        qunsetenv("SSL_CERT_FILE");
        EXPECT_EQ(exchange.end(), c.works ? "response" : "interrupted");
        EXPECT_EQ(exchange.mark(), c.works ? "" : "ServerSelfCertificate");
        if (c.validates)
            continue;

        // An unchecked connection is not used by a checked request.
        info->validatesSecureCertificate = true;
        Exchange checked(info);
        ASSERT_TRUE(checked.get(server.url("/a")));
        EXPECT_EQ(checked.mark(), "ServerSelfCertificate");
    }
}

TEST(ASHttpConnectionTls, ShowsTheClientsCertificateToItsServerAlone) {
    Certificate::Options options;
    options.commonName = QStringLiteral("Ann Client");
    const Certificate client = Certificate::make(options);
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    file.write(client.certificatePem + client.keyPem);
    file.flush();
    const auto info = unchecked();
    info->clientCertificates = {{.label = {},
                                 .certificate = file.fileName(),
                                 .privateKey = file.fileName(),
                                 .type = QStringLiteral("PEM"),
                                 .passphrase = {}}};
    TestServer server(TestServer::Https);
    TestServer other(TestServer::Https);
    for (TestServer *each : {&server, &other}) {
        each->askForClientCertificate();
        each->addFile("/a", "x");
    }
    EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
    EXPECT_EQ(server.lastRequest().clientCommonName, "Ann Client");

    server.fault({.redirect = other.url("/a").toUtf8()});
    EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
    EXPECT_EQ(other.lastRequest().clientCommonName, "");

    info->clientCertificates[0].certificate = QStringLiteral("/nowhere.pem");
    Exchange broken(info);
    ASSERT_TRUE(broken.get(server.url("/a")));
    EXPECT_EQ(broken.mark(), "ClientCertificateInvalid");
}

TEST(ASHttpConnectionProxy, PlainAndTunnelWithLogin) {
    for (const bool https : {false, true})
        for (const auto scheme : {TestServer::NoLogin, TestServer::Basic, TestServer::Digest}) {
            SCOPED_TRACE(testing::Message() << "https " << https << " scheme " << scheme);
            const bool login = scheme != TestServer::NoLogin;
            TestServer server(https ? TestServer::Https : TestServer::Http);
            server.addFile("/a", "through");
            TestServer proxy(TestServer::HttpProxy);
            proxy.requireLogin(scheme, kUser, kPassword);
            const auto info = through(proxy, https, login ? kPassword : QString());
            Exchange first(info);
            ASSERT_TRUE(first.get(server.url("/a")));
            EXPECT_EQ(first.body, "through");
            EXPECT_EQ(proxy.requests().size(), login ? 2 : 1);
            EXPECT_FALSE(server.lastRequest().has("Proxy-Authorization"));
            EXPECT_FALSE(proxy.requests().first().has("Proxy-Connection"));

            proxy.clearRequests();
            EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
            EXPECT_LE(proxy.requests().size(), 1);

            if (!login)
                continue;
            proxy.dropConnections();
            // A thread of its own: a tunnel that is open asks for no login.
            std::thread([&] {
                EXPECT_EQ(outcome(through(proxy, https, "wrong"), server.url("/a")), "refused 407");
            }).join();
        }
}

TEST(ASHttpConnectionProxy, WithoutAPortOrForTheOtherSchemeTheRequestGoesDirect) {
    TestServer server;
    server.addFile("/a", "x");
    TestServer proxy(TestServer::HttpProxy);
    const auto info = through(proxy, true);
    EXPECT_EQ(outcome(info, server.url("/a")), "response 200");
    const auto withoutPort = through(proxy, false);
    withoutPort->proxyPort = ASHttpConnectInfo().proxyPort;
    EXPECT_EQ(outcome(withoutPort, server.url("/a")), "response 200");
    EXPECT_EQ(proxy.connectionCount(), 0);
}
