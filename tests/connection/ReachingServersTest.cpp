// Sessions through the system's proxies, and with the identities of the person's folder and tokens.

#include <cstdio>
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QTemporaryDir>

#include "common/Text.h"
#include "connection/ClientIdentitySource.h"
#include "connection/LoginCheck.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDConnectionInfo.h"
#include "platform/net/ProxyScript.h"
#include "platform/system/IdentityStore.h"
#include "support/RecordingInterface.h"
#include "support/TestServer.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

const QString kModule = QStringLiteral("/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so");

class OneIdentity : public ClientIdentitySource {
  public:
    QList<ClientIdentity> getClientIdentity() override { return identities; }
    QList<ClientIdentity> identities;
};

void write(const QString &path, const QByteArray &content) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(content);
}

void run(const QString &program, const QStringList &arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    ASSERT_TRUE(process.waitForFinished() && process.exitCode() == 0)
        << qPrintable(program) << ' ' << process.readAll().constData();
}

VDConnectionInfo connectionTo(const TestServer &server) {
    VDConnectionInfo info;
    info.connectionName = "Office";
    info.RemoteURL = server.url();
    info.isAllowSelfsign = true;
    return info;
}

class ReachingServers : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    // Each check is a thread's, with connections of its own.
    bool reaches(const TestServer &server, const ClientIdentity *identity,
                 const SystemProxySource &proxies = VDAutoProxySetting()) {
        VDConnectionInfo info = connectionTo(server);
        info.isUseProxy = true;
        info.isProxyAuto = true;
        info.isUseCert = identity != nullptr;
        OneIdentity identities;
        if (identity)
            identities.identities = {*identity};
        return LoginCheck(proxies, identities).checkLogin(info, {}) != nullptr;
    }

    RecordingInterface interface;
    QTemporaryDir folder;
};

}  // namespace

TEST_F(ReachingServers, ThroughTheProxyThatScriptOrSettingsName) {
    for (const auto mode : {TestServer::Http, TestServer::Https}) {
        TestServer server(mode);
        TestServer proxy(TestServer::HttpProxy);
        TestServer scripts;
        const QByteArray port = QByteArray::number(proxy.port());
        scripts.addFile("/one.pac",
                        "function FindProxyForURL(url, host) { return host == "
                        "'127.0.0.1' ? 'PROXY 127.0.0.1:" +
                            port + "; DIRECT' : 'DIRECT'; }");
        scripts.addFile("/bad.pac", "function FindProxyForURL(");
        scripts.addFile("/direct.pac", "function FindProxyForURL(url, host) { return 'DIRECT'; }");
        const struct {
            const char *script;
            bool hasLogin;  // of the proxy
            const char *password;
            bool isReached;
            bool isThroughProxy;
        } cases[] = {
            {"/one.pac", false, nullptr, true, true},
            {"/bad.pac", false, nullptr, true, true},
            {"/none.pac", true, "secret", true, true},
            {"/direct.pac", false, nullptr, true, false},
            {nullptr, true, "secret", true, true},
            // A name without a password, or a script's proxy, has no login to give; the person is
            // asked, and doesn't answer here.
            {nullptr, true, nullptr, false, true},
            {"/one.pac", true, "secret", false, true},
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(testing::Message() << (c.script ? c.script : "fixed") << ' ' << mode);
            proxy.requireLogin(c.hasLogin ? TestServer::Basic : TestServer::NoLogin, "ann",
                               "secret");
            proxy.dropConnections();
            proxy.clearRequests();
            server.dropConnections();
            ProxySettings settings;
            settings.isScriptEnabled = c.script != nullptr;
            settings.scriptURL = scripts.url(QString::fromLatin1(c.script));
            settings.http = {true, "127.0.0.1", proxy.port(), "ann", {}};
            settings.https = settings.http;
            const VDAutoProxySetting proxies({
                [&] { return std::optional(settings); },
                ProxyScript::fetch,
                ProxyScript::evaluate,
                [&](auto &&...) { return QString::fromLatin1(c.password); },
            });
            EXPECT_EQ(reaches(server, nullptr, proxies), c.isReached);
            EXPECT_EQ(proxy.countOf(mode == TestServer::Https ? "CONNECT" : "OPTIONS") > 0,
                      c.isThroughProxy);
        }
    }
}

TEST_F(ReachingServers, FindsIdentitiesInTheFolder) {
    Certificate::Options options;
    options.commonName = "Ann";
    const Certificate ann = Certificate::make(options);
    options.validFromDays = -9;
    options.validToDays = -2;
    const Certificate expired = Certificate::make(options);

    qputenv("XDG_DATA_HOME", folder.path().toUtf8());
    const QString home = IdentityStore::folder() + '/';
    ASSERT_TRUE(QDir().mkpath(home));
    write(home + "a.pem", ann.certificatePem + ann.keyPem);
    write(home + "b.pem", ann.certificatePem);
    write(home + "b.key", ann.keyPem);
    const QString source = home + "a.pem";
    run("openssl", {"pkcs12", "-export", "-in", source, "-out", home + "c.p12", "-passout",
                    "pass:", "-name", "Ann's own"});
    run("openssl",
        {"pkcs12", "-export", "-in", source, "-out", home + "d.p12", "-passout", "pass:pä ss"});
    run("openssl", {"pkcs12", "-export", "-legacy", "-in", source, "-out", home + "e.PFX",
                    "-passout", "pass:pä ss"});
    run("openssl",
        {"pkey", "-in", source, "-aes256", "-passout", "pass:pä ss", "-out", home + "f.key"});
    write(home + "f.pem", ann.certificatePem);
    write(home + "g.pem", ann.certificatePem);
    write(home + "h.p12", "garbage");
    write(home + "i.pem", expired.certificatePem + expired.keyPem);
    write(home + "j.pem", ann.keyPem);
    write(home + "k.txt", ann.certificatePem + ann.keyPem);

    struct Row {
        const char *label, *issuer, *file;
        bool needsPassphrase;
    };
    const Row rows[] = {{"Ann", "Ann", "a.pem", false},
                        {"Ann", "Ann", "b.pem", false},
                        {"Ann's own", "Ann", "c.p12", false},
                        {"d", "", "d.p12", true},
                        {"e", "", "e.PFX", true},
                        {"Ann", "Ann", "f.pem", true}};
    const IdentityStore store;
    const auto found = store.copyMatching();
    ASSERT_EQ(found->size(), std::size(rows));
    TestServer server(TestServer::Https);
    server.demandClientCertificate(ann.certificatePem);
    for (qsizetype i = 0; i < found->size(); ++i) {
        const StoredIdentity &identity = found->at(i);
        const Row &row = rows[i];
        EXPECT_EQ(identity.label, row.label);
        EXPECT_EQ(identity.issuer.value(0).second, row.issuer) << row.file;
        EXPECT_EQ(identity.certificate, home + row.file);
        EXPECT_EQ(identity.needsPassphrase, row.needsPassphrase) << row.file;
        if (row.needsPassphrase) {
            using Opening = IdentityStore::Opening;
            EXPECT_EQ(store.open(identity, ""), Opening::WrongPassphrase) << row.file;
            EXPECT_EQ(store.open(identity, "wrong"), Opening::WrongPassphrase) << row.file;
            EXPECT_EQ(store.open(identity, "pä ss"), Opening::Opened) << row.file;
        }
        const ClientIdentity chosen{identity.label, identity.certificate, identity.privateKey,
                                    identity.type, row.needsPassphrase ? "pä ss" : QString()};
        server.dropConnections();
        EXPECT_TRUE(reaches(server, &chosen)) << row.file;
    }

    // A key that got its passphrase after it was chosen is none; nobody is asked on the terminal.
    write(folder.filePath("typed"), "pä ss\npä ss\n");
    ASSERT_TRUE(std::freopen(qPrintable(folder.filePath("typed")), "r", stdin));
    const ClientIdentity changed{"f", home + "f.pem", home + "f.key", "PEM", {}};
    server.dropConnections();
    EXPECT_FALSE(reaches(server, &changed));
    EXPECT_EQ(std::ftell(stdin), 0);
    qunsetenv("XDG_DATA_HOME");
}

TEST_F(ReachingServers, NotWithoutTheDemandedCertificate) {
    const Certificate right = Certificate::make();
    const Certificate wrong = Certificate::make();
    write(folder.filePath("right.pem"), right.certificatePem + right.keyPem);
    write(folder.filePath("wrong.pem"), wrong.certificatePem + wrong.keyPem);
    const auto identity = [&](const QString &name) {
        const QString path = folder.filePath(name);
        return ClientIdentity{"id", path, path, "PEM", {}};
    };
    const ClientIdentity rightOne = identity("right.pem"), wrongOne = identity("wrong.pem");
    TestServer server(TestServer::Https);
    server.demandClientCertificate(right.certificatePem);
    const struct {
        const ClientIdentity *identity;
        bool isReached;
    } cases[] = {{nullptr, false}, {&wrongOne, false}, {&rightOne, true}};
    for (const auto &c : cases) {
        interface.alerts.clear();
        server.dropConnections();
        EXPECT_EQ(reaches(server, c.identity), c.isReached);
        EXPECT_EQ(interface.alerts.size(), c.isReached ? 0 : 1);
    }
}

TEST_F(ReachingServers, WithAnIdentityOnAToken) {
    const Certificate ann = Certificate::make();
    write(folder.filePath("key.pem"), ann.keyPem);
    write(folder.filePath("cert.der"), QSslCertificate(ann.certificatePem).toDer());
    ASSERT_TRUE(QDir(folder.path()).mkdir("tokens"));
    write(folder.filePath("softhsm2.conf"),
          "directories.tokendir = " + folder.filePath("tokens").toUtf8() + "\n");
    qputenv("SOFTHSM2_CONF", folder.filePath("softhsm2.conf").toUtf8());
    run("softhsm2-util",
        {"--init-token", "--free", "--label", "Card", "--so-pin", "12345678", "--pin", "4711"});
    run("softhsm2-util", {"--import", folder.filePath("key.pem"), "--token", "Card", "--label",
                          "Ann", "--id", "01", "--pin", "4711"});
    run("pkcs11-tool",
        {"--module", kModule, "--token-label", "Card", "--login", "--pin", "4711", "--write-object",
         folder.filePath("cert.der"), "--type", "cert", "--id", "01", "--label", "Ann's card"});

    const IdentityStore store;
    const auto found = store.copyMatching();
    ASSERT_EQ(found->size(), 1);
    const StoredIdentity &card = found->first();
    EXPECT_EQ(card.label, "Ann's card");
    EXPECT_TRUE(card.needsPassphrase);
    using Opening = IdentityStore::Opening;
    EXPECT_EQ(store.open(card, "0815"), Opening::WrongPassphrase);
    EXPECT_EQ(store.open(card, "4711"), Opening::Opened);

    TestServer server(TestServer::Https);
    server.demandClientCertificate(ann.certificatePem);
    const ClientIdentity chosen{card.label, card.certificate, card.privateKey, card.type, "4711"};
    EXPECT_TRUE(reaches(server, &chosen));
    qunsetenv("SOFTHSM2_CONF");
    EXPECT_EQ(store.open({{}, {}, "pkcs11:token=None", {}, "ENG", true}, "1"), Opening::Failed);
}
