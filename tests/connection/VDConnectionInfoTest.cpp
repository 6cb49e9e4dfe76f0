#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "common/VDCommonUtils.h"
#include "connection/SystemProxySource.h"
#include "connection/VDConnectionInfo.h"

namespace {

const ClientIdentity kIdentity{"id", "cert.pem", "key.pem", "PEM", {}};

class ConnectionStore : public testing::Test {
  protected:
    QTemporaryDir folder;
    Preferences store{folder.filePath("preferences.json")};

    static VDConnectionInfo office() {
        VDConnectionInfo info;
        info.connectionName = "Office";
        info.RemoteURL = "https://h/dav";
        return info;
    }

    void save(const VDConnectionInfo &info) { ASSERT_TRUE(info.saveConnectInfo(nullptr, store)); }

    std::shared_ptr<VDConnectionInfo> load(const QString &name) {
        Preferences fresh(folder.filePath("preferences.json"));
        return VDConnectionInfo::loadConnectInfo(name, fresh);
    }

    bool has(const QString &key) { return store.value(key).isValid(); }
};

class FixedProxy : public SystemProxySource {
  public:
    explicit FixedProxy(std::optional<ProxyConf> proxy = std::nullopt) : proxy(std::move(proxy)) {}
    std::optional<ProxyConf> getProxy(const QUrl &url) const override {
        asked.append(url);
        return proxy;
    }
    mutable QList<QUrl> asked;

  private:
    const std::optional<ProxyConf> proxy;
};

}  // namespace

TEST_F(ConnectionStore, EverythingSavedComesBack) {
    VDConnectionInfo info = office();
    info.username = "me";
    info.saveID = true;
    info.password = QString::fromUtf8("pä55");
    info.savePassword = true;
    info.mountPoint = "/Volumes/${user}";
    info.chengeMountPoint = true;
    info.isUseProxy = true;
    info.isProxyAuto = false;
    info.proxyHost = "proxy";
    info.proxyPort = 3128;
    info.isUseProxyAuth = true;
    info.proxyUsername = "pu";
    info.proxyPassword = "pp";
    info.devideSizeIndex = 3;
    info.isUseCert = true;
    info.certArr = {kIdentity};
    info.isAllowSelfsign = true;
    info.isAutoMount = true;
    info.isMount = true;
    save(info);

    const auto loaded = load("Office");
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->certArr.isEmpty());
    EXPECT_FALSE(loaded->isMount);
    loaded->certArr = info.certArr;
    EXPECT_TRUE(loaded->equals(info));

    QFile file(folder.filePath("preferences.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_FALSE(text.contains(info.password.toUtf8()));
    EXPECT_EQ(store.value("remoteURLOffice"), info.RemoteURL);
    EXPECT_EQ(store.value("userPassword/Office"), VDCommonUtils::encryptoPassword(info.password));
    EXPECT_EQ(store.value("isProxy/Office").toInt(), 1);
}

// What a second save leaves of the keys of a first one with everything set.
TEST_F(ConnectionStore, SavingRemovesWhatIsNotKept) {
    struct Case {
        const char *name;
        std::function<void(VDConnectionInfo &)> change;
        QStringList removed;
    };
    const QStringList all{"isAutoMount",     "username",      "userPassword",   "mountPoint",
                          "isProxy",         "autoProxy",     "proxyHost",      "proxyPort",
                          "isUseProxyAuth",  "proxyUsername", "proxyPassword",  "isProxyHTTPS",
                          "devideSizeIndex", "isUseCert",     "isAllowSelfsign"};
    const std::vector<Case> cases{
        {"nothing", [](VDConnectionInfo &) {}, {}},
        {"saveID", [](auto &i) { i.saveID = false; }, {"username"}},
        {"savePassword", [](auto &i) { i.savePassword = false; }, {"userPassword"}},
        {"password never set", [](auto &i) { i.password = QString(); }, {"userPassword"}},
        {"chengeMountPoint", [](auto &i) { i.chengeMountPoint = false; }, {"mountPoint"}},
        {"proxy off",
         [](auto &i) { i.isUseProxy = false; },
         {"autoProxy", "isProxyHTTPS", "proxyHost", "proxyPort", "proxyUsername", "proxyPassword"}},
        {"automatic proxy", [](auto &i) { i.isProxyAuto = true; }, {"proxyHost", "proxyPort"}},
        {"isProxyAuto never set", [](auto &i) { i.isProxyAuto.reset(); }, {}},
        {"isUseProxyAuth never set", [](auto &i) { i.isUseProxyAuth.reset(); }, {"isUseProxyAuth"}},
        {"proxy login never set",
         [](auto &i) { i.proxyUsername = i.proxyPassword = QString(); },
         {"proxyUsername", "proxyPassword"}},
        {"isAutoMount never set", [](auto &i) { i.isAutoMount.reset(); }, {}},
        {"devideSizeIndex never set", [](auto &i) { i.devideSizeIndex.reset(); }, {}},
        {"flags never set",
         [](auto &i) {
             i.isUseCert.reset();
             i.isAllowSelfsign.reset();
         },
         {"isUseCert", "isAllowSelfsign"}},
    };
    VDConnectionInfo full = office();
    full.saveID = full.savePassword = full.chengeMountPoint = true;
    full.username = full.password = full.mountPoint = full.proxyHost = "x";
    full.proxyUsername = full.proxyPassword = "x";
    full.isUseProxy = true;
    full.isProxyAuto = full.isUseCert = full.isAllowSelfsign = false;
    full.isUseProxyAuth = full.isAutoMount = true;
    full.proxyPort = full.devideSizeIndex = 1;

    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        store.setValue("isProxyHTTPS/Office", 1);  // of an earlier version
        save(full);
        VDConnectionInfo changed = full;
        c.change(changed);
        save(changed);
        QStringList removed;
        for (const QString &base : all) {
            if (!has(base + "/Office"))
                removed.append(base);
        }
        QStringList expected = c.removed;
        removed.sort();
        expected.sort();
        EXPECT_EQ(removed, expected);
    }
    // Other connections aren't touched by any of it.
    VDConnectionInfo other = office();
    other.connectionName = "Other";
    save(other);
    EXPECT_EQ(load("Office")->RemoteURL, full.RemoteURL);
}

TEST_F(ConnectionStore, UnsetValuesReadAsUnset) {
    save(office());
    const auto loaded = load("Office");
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->username.isNull());
    EXPECT_FALSE(loaded->saveID);
    EXPECT_FALSE(loaded->savePassword);
    EXPECT_FALSE(loaded->chengeMountPoint);
    EXPECT_FALSE(loaded->isProxyAuto);
    EXPECT_FALSE(loaded->proxyPort);
    EXPECT_FALSE(loaded->isAutoMount);
    EXPECT_EQ(loaded->devideSizeIndex, 0);
}

TEST_F(ConnectionStore, UnreadableValues) {
    EXPECT_FALSE(load("Office"));

    store.setValue("remoteURLOffice", "");
    store.setValue("username/Office", "me");
    ASSERT_TRUE(store.synchronize(nullptr));
    EXPECT_FALSE(load("Office")) << "a record without a URL is none";
    EXPECT_TRUE(has("username/Office"));

    store.setValue("remoteURLOffice", "http://h/");
    store.setValue("userPassword/Office", QByteArray("not a cipher text"));
    ASSERT_TRUE(store.synchronize(nullptr));
    const auto loaded = load("Office");
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->password.isEmpty());
    EXPECT_FALSE(loaded->savePassword);
    save(*loaded);
    EXPECT_FALSE(has("userPassword/Office"));
}

TEST_F(ConnectionStore, DeletingLeavesTheAutoMountMarkAndOthers) {
    VDConnectionInfo info = office();
    info.isAutoMount = true;
    save(info);
    info.connectionName = "Office 2";
    save(info);
    ASSERT_TRUE(VDConnectionInfo::deleteConnectInfo("Office", nullptr, store));
    EXPECT_FALSE(load("Office"));
    EXPECT_TRUE(load("Office 2"));
    save(office());
    EXPECT_EQ(load("Office")->isAutoMount, true);
}

TEST_F(ConnectionStore, OldSingleConnectionIsTakenOver) {
    store.setValue("remoteURL", "http://old/");
    store.setValue("username", "me");
    store.setValue("mountPoint", "/Volumes/Old");
    store.setValue("autoProxy", 1);
    store.setValue("isUseProxyAuth", 1);
    store.setValue("proxyUsername", "pu");
    ASSERT_TRUE(store.synchronize(nullptr));

    const auto legacy = VDConnectionInfo::loadConnectInfo(store);
    ASSERT_TRUE(legacy);
    EXPECT_EQ(legacy->connectionName, "Velmora");
    EXPECT_TRUE(legacy->saveID);
    EXPECT_FALSE(legacy->savePassword);
    EXPECT_EQ(legacy->isUseProxy, QVariant("/Volumes/Old")) << "the mount point's truth";
    EXPECT_EQ(legacy->devideSizeIndex, 0);
    EXPECT_EQ(legacy->isUseCert, false);

    EXPECT_FALSE(VDConnectionInfo::loadConnectInfo("Other", store));
    EXPECT_TRUE(has("remoteURL")) << "only its own name takes it over";
    const auto taken = VDConnectionInfo::loadConnectInfo("Velmora", store);
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->RemoteURL, "http://old/");
    for (const char *key : {"remoteURL", "username", "mountPoint", "proxyUsername"})
        EXPECT_FALSE(has(key)) << key;
    for (const char *key : {"autoProxy", "isUseProxyAuth"})
        EXPECT_TRUE(has(key)) << key;
    EXPECT_FALSE(VDConnectionInfo::loadConnectInfo(store));

    const auto again = load("Velmora");
    ASSERT_TRUE(again);
    EXPECT_EQ(again->mountPoint, "/Volumes/Old");
    EXPECT_TRUE(again->equals(*taken));
}

TEST(VDConnectionInfo, EqualsLooksAtWhatCounts) {
    struct Case {
        const char *name;
        std::function<void(VDConnectionInfo &, VDConnectionInfo &)> change;
        bool equal;
    };
    using Info = VDConnectionInfo;
    const std::vector<Case> cases{
        {"same", [](Info &, Info &) {}, true},
        {"name", [](Info &a, Info &) { a.connectionName = "x"; }, false},
        {"URL", [](Info &a, Info &) { a.RemoteURL = "x"; }, false},
        {"unset and empty text", [](Info &a, Info &) { a.RemoteURL = ""; }, true},
        {"name not kept", [](Info &a, Info &) { a.username = "x"; }, true},
        {"name kept",
         [](Info &a, Info &b) {
             a.saveID = b.saveID = true;
             a.username = "x";
         },
         false},
        {"password not kept", [](Info &a, Info &) { a.password = "x"; }, true},
        {"password kept",
         [](Info &a, Info &b) {
             a.savePassword = b.savePassword = true;
             a.password = "x";
         },
         false},
        {"default mount point", [](Info &a, Info &) { a.mountPoint = "x"; }, true},
        {"own mount point",
         [](Info &a, Info &b) {
             a.chengeMountPoint = b.chengeMountPoint = true;
             a.mountPoint = "x";
         },
         false},
        {"proxy on", [](Info &a, Info &) { a.isUseProxy = true; }, false},
        {"proxy unset and off", [](Info &a, Info &) { a.isUseProxy = QVariant(); }, true},
        {"unused proxy", [](Info &a, Info &) { a.proxyHost = "x"; }, true},
        {"manual proxy",
         [](Info &a, Info &b) {
             a.isUseProxy = b.isUseProxy = true;
             a.proxyPort = 1;
         },
         false},
        {"automatic unset and off",
         [](Info &a, Info &b) {
             a.isUseProxy = b.isUseProxy = true;
             a.isProxyAuto = false;
         },
         true},
        {"host of an automatic proxy",
         [](Info &a, Info &b) {
             a.isUseProxy = b.isUseProxy = true;
             a.isProxyAuto = b.isProxyAuto = true;
             a.proxyHost = "x";
         },
         true},
        {"login of an automatic proxy",
         [](Info &a, Info &b) {
             a.isUseProxy = b.isUseProxy = true;
             a.isProxyAuto = b.isProxyAuto = true;
             a.isUseProxyAuth = b.isUseProxyAuth = true;
             a.proxyPassword = "x";
         },
         false},
        {"unused proxy login",
         [](Info &a, Info &b) {
             a.isUseProxy = b.isUseProxy = true;
             a.proxyUsername = "x";
         },
         true},
        {"part size unset and 0", [](Info &a, Info &) { a.devideSizeIndex = 0; }, false},
        {"certificate unset and off", [](Info &a, Info &) { a.isUseCert = false; }, false},
        {"identity chosen",
         [](Info &a, Info &b) {
             a.isUseCert = b.isUseCert = true;
             a.certArr = {kIdentity};
         },
         false},
        {"same identity",
         [](Info &a, Info &b) {
             a.isUseCert = b.isUseCert = true;
             a.certArr = b.certArr = {kIdentity};
         },
         true},
        {"identity not used", [](Info &a, Info &) { a.certArr = {kIdentity}; }, true},
        {"self-signed", [](Info &a, Info &) { a.isAllowSelfsign = true; }, false},
        {"self-signed unset and off", [](Info &a, Info &) { a.isAllowSelfsign = false; }, true},
        {"automatic mount", [](Info &a, Info &) { a.isAutoMount = true; }, false},
        {"mounted", [](Info &a, Info &) { a.isMount = true; }, true},
    };
    for (const Case &c : cases) {
        VDConnectionInfo a;
        VDConnectionInfo b;
        c.change(a, b);
        EXPECT_EQ(a.equals(b), c.equal) << c.name;
        EXPECT_EQ(b.equals(a), c.equal) << c.name << ", the other way";
    }
}

TEST(VDConnectionInfo, SessionParameters) {
    VDConnectionInfo info;
    info.RemoteURL = "https://h/dav";
    info.username = "me";
    info.proxyHost = "manual";
    info.proxyPort = 8080;
    info.proxyUsername = "manual user";
    info.proxyPassword = "manual password";
    info.certArr = {kIdentity};
    const ProxyConf withLogin{"auto", 3128, false, "auto user", "auto password"};
    const ProxyConf withName{"auto", 3128, true, "auto user", QString()};

    struct Expected {
        bool use = false;
        bool https = false;
        QString host;
        bool login = false;
        QString user;
    };
    struct Case {
        const char *name;
        QVariant isUseProxy;
        std::optional<bool> isProxyAuto;
        std::optional<bool> isUseProxyAuth;
        std::optional<ProxyConf> systemProxy;
        Expected expected;
    };
    const std::vector<Case> cases{
        {"never set", {}, {}, true, withLogin, {}},
        {"off", false, true, true, withLogin, {}},
        {"manual", true, {}, {}, withLogin, {true, true, "manual", false, ""}},
        {"manual, login", true, false, true, {}, {true, true, "manual", true, "manual user"}},
        {"system", true, true, {}, withLogin, {true, false, "auto", true, "auto user"}},
        {"system, no password", true, true, {}, withName, {true, true, "auto", false, "auto user"}},
        {"system, own login",
         true,
         true,
         true,
         withLogin,
         {true, false, "auto", true, "manual user"}},
        {"system has none", true, true, true, {}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        info.isUseProxy = c.isUseProxy;
        info.isProxyAuto = c.isProxyAuto;
        info.isUseProxyAuth = c.isUseProxyAuth;
        const FixedProxy proxies(c.systemProxy);
        const auto parameters = info.makeHttpConnectinfo(proxies);
        EXPECT_TRUE(parameters->isUseAuthorization);
        EXPECT_EQ(parameters->username, "me");
        EXPECT_TRUE(parameters->password.isNull());
        EXPECT_EQ(parameters->isUseProxy, c.expected.use);
        EXPECT_EQ(parameters->isUseProxyHTTPS, c.expected.https);
        EXPECT_EQ(parameters->proxyHost, c.expected.host);
        EXPECT_EQ(parameters->isUseProxyAuthorization, c.expected.login);
        EXPECT_EQ(parameters->proxyUsername, c.expected.user);
        EXPECT_TRUE(parameters->validatesSecureCertificate);
        EXPECT_TRUE(parameters->clientCertificates.isEmpty());
        for (const QUrl &url : proxies.asked)
            EXPECT_EQ(url, QUrl(info.RemoteURL));
    }

    info.isAllowSelfsign = true;
    info.isUseCert = true;
    const auto parameters = info.makeHttpConnectinfo(FixedProxy());
    EXPECT_FALSE(parameters->validatesSecureCertificate);
    EXPECT_EQ(parameters->clientCertificates, info.certArr);
}
