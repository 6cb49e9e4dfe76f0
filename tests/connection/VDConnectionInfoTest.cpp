#include <gtest/gtest.h>

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
    explicit FixedProxy(std::optional<ProxyConf> proxy) : proxy(std::move(proxy)) {}
    std::optional<ProxyConf> getProxy(const QUrl &url) const override {
        EXPECT_EQ(url, QUrl("https://h/dav"));
        return proxy;
    }

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

    EXPECT_EQ(store.value("remoteURLOffice"), info.RemoteURL);
    EXPECT_EQ(store.value("userPassword/Office"), VDCommonUtils::encryptoPassword(info.password));
}

// What a second save leaves of the keys of a first one with everything set.
TEST_F(ConnectionStore, SavingRemovesWhatIsNotKept) {
    using Info = VDConnectionInfo;
    const struct {
        std::function<void(Info &)> change;
        const char *removed;
    } cases[] = {
        {[](Info &) {}, ""},
        {[](Info &i) { i.saveID = i.savePassword = false; }, "userPassword username"},
        {[](Info &i) { i.password = QString(); }, "userPassword"},
        {[](Info &i) { i.chengeMountPoint = false; }, "mountPoint"},
        {[](Info &i) { i.isUseProxy = false; },
         "autoProxy isProxyHTTPS proxyHost proxyPassword proxyPort proxyUsername"},
        {[](Info &i) { i.isProxyAuto = true; }, "proxyHost proxyPort"},
        {[](Info &i) { i.isUseProxyAuth.reset(); }, "isUseProxyAuth"},
        {[](Info &i) { i.proxyUsername = QString(); }, "proxyUsername"},
        {[](Info &i) { i.isUseCert = i.isAllowSelfsign = std::nullopt; },
         "isAllowSelfsign isUseCert"},
        {[](Info &i) {
             i.isProxyAuto = i.isAutoMount = std::nullopt;
             i.devideSizeIndex.reset();
         },
         ""},
    };
    VDConnectionInfo full = office();
    full.saveID = full.savePassword = full.chengeMountPoint = true;
    full.username = full.password = full.mountPoint = full.proxyHost = "x";
    full.proxyUsername = full.proxyPassword = "x";
    full.isUseProxy = true;
    full.isProxyAuto = full.isUseCert = full.isAllowSelfsign = false;
    full.isUseProxyAuth = full.isAutoMount = true;
    full.proxyPort = full.devideSizeIndex = 1;

    for (const auto &[change, expected] : cases) {
        store.setValue("isProxyHTTPS/Office", 1);  // of an earlier version
        save(full);
        VDConnectionInfo changed = full;
        change(changed);
        save(changed);
        QStringList removed;
        for (const char *base :
             {"autoProxy", "devideSizeIndex", "isAllowSelfsign", "isAutoMount", "isProxy",
              "isProxyHTTPS", "isUseCert", "isUseProxyAuth", "mountPoint", "proxyHost",
              "proxyPassword", "proxyPort", "proxyUsername", "userPassword", "username"}) {
            if (!has(base + QStringLiteral("/Office")))
                removed.append(base);
        }
        EXPECT_EQ(removed.join(' '), expected);
    }
}

TEST_F(ConnectionStore, UnsetAndUnreadableValues) {
    EXPECT_FALSE(load("Office"));
    save(office());
    auto loaded = load("Office");
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->username.isNull());
    EXPECT_FALSE(loaded->saveID || loaded->savePassword || loaded->chengeMountPoint);
    EXPECT_FALSE(loaded->isProxyAuto || loaded->proxyPort || loaded->isAutoMount);
    EXPECT_EQ(loaded->devideSizeIndex, 0);

    store.setValue("remoteURLOffice", "");
    store.setValue("username/Office", "me");
    ASSERT_TRUE(store.synchronize(nullptr));
    EXPECT_FALSE(load("Office")) << "a record without a URL is none";
    EXPECT_TRUE(has("username/Office"));

    store.setValue("remoteURLOffice", "http://h/");
    store.setValue("userPassword/Office", QByteArray("not a cipher text"));
    ASSERT_TRUE(store.synchronize(nullptr));
    loaded = load("Office");
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
    EXPECT_TRUE(again->equals(*taken));
}

TEST(VDConnectionInfo, EqualsLooksAtWhatCounts) {
    using Info = VDConnectionInfo;
    using Change = std::function<void(Info &)>;
    const Change none = [](Info &) {};
    const Change keepsName = [](Info &i) { i.saveID = true; };
    const Change keepsPassword = [](Info &i) { i.savePassword = true; };
    const Change ownMountPoint = [](Info &i) { i.chengeMountPoint = true; };
    const Change usesCert = [](Info &i) { i.isUseCert = true; };
    const Change manual = [](Info &i) { i.isUseProxy = true; };
    const Change automatic = [](Info &i) {
        i.isUseProxy = true;
        i.isProxyAuto = true;
        i.isUseProxyAuth = true;
    };
    const Change identity = [](Info &i) { i.certArr = {kIdentity}; };
    const struct {
        const char *name;
        Change ofBoth;
        Change ofOne;
        bool equal;
    } cases[] = {
        {"name", none, [](Info &i) { i.connectionName = "x"; }, false},
        {"URL", none, [](Info &i) { i.RemoteURL = "x"; }, false},
        {"unset and empty text", none, [](Info &i) { i.RemoteURL = ""; }, true},
        {"name not kept", none, [](Info &i) { i.username = "x"; }, true},
        {"name kept", keepsName, [](Info &i) { i.username = "x"; }, false},
        {"password not kept", none, [](Info &i) { i.password = "x"; }, true},
        {"password kept", keepsPassword, [](Info &i) { i.password = "x"; }, false},
        {"default mount point", none, [](Info &i) { i.mountPoint = "x"; }, true},
        {"own mount point", ownMountPoint, [](Info &i) { i.mountPoint = "x"; }, false},
        {"proxy on", none, manual, false},
        {"proxy unset and off", none, [](Info &i) { i.isUseProxy = false; }, true},
        {"unused proxy", none, [](Info &i) { i.proxyHost = "x"; }, true},
        {"manual proxy", manual, [](Info &i) { i.proxyPort = 1; }, false},
        {"automatic unset and off", manual, [](Info &i) { i.isProxyAuto = false; }, true},
        {"host of an automatic proxy", automatic, [](Info &i) { i.proxyHost = "x"; }, true},
        {"its login", automatic, [](Info &i) { i.proxyPassword = "x"; }, false},
        {"unused proxy login", manual, [](Info &i) { i.proxyUsername = "x"; }, true},
        {"part size unset and 0", none, [](Info &i) { i.devideSizeIndex = 0; }, false},
        {"certificate unset and off", none, [](Info &i) { i.isUseCert = false; }, false},
        {"identity chosen", usesCert, identity, false},
        {"identity not used", none, identity, true},
        {"self-signed", none, [](Info &i) { i.isAllowSelfsign = true; }, false},
        {"self-signed unset and off", none, [](Info &i) { i.isAllowSelfsign = false; }, true},
        {"automatic mount", none, [](Info &i) { i.isAutoMount = true; }, false},
        {"mounted", none, [](Info &i) { i.isMount = true; }, true},
    };
    for (const auto &[name, ofBoth, ofOne, equal] : cases) {
        VDConnectionInfo one;
        VDConnectionInfo other;
        ofBoth(one);
        ofBoth(other);
        ofOne(one);
        EXPECT_EQ(one.equals(other), equal) << name;
        EXPECT_EQ(other.equals(one), equal) << name << ", the other way";
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

    const struct {
        const char *name;
        QVariant isUseProxy;
        std::optional<bool> isProxyAuto;
        std::optional<bool> isUseProxyAuth;
        std::optional<ProxyConf> systemProxy;
        bool https;
        QString host;  // null: no proxy
        bool login;
        QString user;
    } cases[] = {
        {"never set", {}, {}, true, withLogin, false, {}, false, {}},
        {"off", false, true, true, withLogin, false, {}, false, {}},
        {"manual", true, {}, {}, withLogin, true, "manual", false, ""},
        {"manual, login", true, false, true, {}, true, "manual", true, "manual user"},
        {"system", true, true, {}, withLogin, false, "auto", true, "auto user"},
        {"no password", true, true, {}, withName, true, "auto", false, "auto user"},
        {"own login", true, true, true, withLogin, false, "auto", true, "manual user"},
        {"system has none", true, true, true, {}, false, {}, false, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        info.isUseProxy = c.isUseProxy;
        info.isProxyAuto = c.isProxyAuto;
        info.isUseProxyAuth = c.isUseProxyAuth;
        const FixedProxy proxies(c.systemProxy);
        const auto parameters = info.makeHttpConnectinfo(proxies);
        EXPECT_TRUE(parameters->isUseAuthorization);
        EXPECT_TRUE(parameters->password.isNull());
        EXPECT_EQ(parameters->isUseProxy, !c.host.isNull());
        EXPECT_EQ(parameters->isUseProxyHTTPS, c.https);
        EXPECT_EQ(parameters->proxyHost, c.host);
        EXPECT_EQ(parameters->isUseProxyAuthorization, c.login);
        EXPECT_EQ(parameters->proxyUsername, c.user);
        EXPECT_TRUE(parameters->validatesSecureCertificate);
        EXPECT_TRUE(parameters->clientCertificates.isEmpty());
    }

    info.isAllowSelfsign = true;
    info.isUseCert = true;
    const auto parameters = info.makeHttpConnectinfo(FixedProxy(std::nullopt));
    EXPECT_FALSE(parameters->validatesSecureCertificate);
    EXPECT_EQ(parameters->clientCertificates, info.certArr);
}
