#include "connection/VDConnectionInfo.h"

#include <initializer_list>

#include "common/VDCommonUtils.h"
#include "connection/SystemProxySource.h"

namespace {

const QString kLegacyName = QStringLiteral("Velmora");

// The keys of one connection in the store.
class Keys {
  public:
    // The bare keys, of the old single-connection form.
    explicit Keys(Preferences &store) : store(store), bare(true) {}
    Keys(Preferences &store, const QString &connectionName)
        : store(store), bare(false), connectionName(connectionName) {}

    QVariant value(const char *base) const { return store.value(key(base)); }
    // Null for a key without a value.
    QString text(const char *base) const {
        const QVariant found = value(base);
        return found.isValid() ? found.toString() : QString();
    }
    std::optional<bool> flag(const char *base) const {
        const QVariant found = value(base);
        return found.isValid() ? std::optional(found.toBool()) : std::nullopt;
    }
    std::optional<int> number(const char *base) const {
        const QVariant found = value(base);
        return found.isValid() ? std::optional(found.toInt()) : std::nullopt;
    }
    QString password(const char *base) const {
        const QVariant found = value(base);
        return found.isValid() ? VDCommonUtils::decryptoPassword(found.toByteArray()) : QString();
    }

    void set(const char *base, const QVariant &value) { store.setValue(key(base), value); }
    void setNumber(const char *base, std::optional<int> number) {
        set(base, number ? QVariant(*number) : QVariant());
    }
    void setFlag(const char *base, std::optional<bool> flag) {
        setNumber(base, flag ? std::optional<int>(*flag) : std::nullopt);
    }
    void setPassword(const char *base, const QString &password) {
        set(base,
            password.isNull() ? QVariant() : QVariant(VDCommonUtils::encryptoPassword(password)));
    }
    void remove(const char *base) { store.remove(key(base)); }
    void remove(std::initializer_list<const char *> bases) {
        for (const char *base : bases)
            remove(base);
    }

  private:
    // The URL's key alone has no slash.
    QString key(const char *base) const {
        const QString name = QString::fromLatin1(base);
        if (bare)
            return name;
        if (name == QLatin1String("remoteURL"))
            return name + connectionName;
        return name + QLatin1Char('/') + connectionName;
    }

    Preferences &store;
    const bool bare;
    const QString connectionName;
};

// Invalid for an unset one.
template <typename T>
QVariant boxed(const std::optional<T> &value) {
    return value ? QVariant(*value) : QVariant();
}

void loadLoginAndMountPoint(VDConnectionInfo &info, const Keys &keys) {
    info.username = keys.text("username");
    info.saveID = !VDCommonUtils::isNilOrEmpty(info.username);
    info.mountPoint = keys.text("mountPoint");
    info.chengeMountPoint = !VDCommonUtils::isNilOrEmpty(info.mountPoint);
}

void loadProxy(VDConnectionInfo &info, const Keys &keys) {
    info.isProxyAuto = keys.flag("autoProxy");
    info.proxyHost = keys.text("proxyHost");
    info.proxyPort = keys.number("proxyPort");
    info.isUseProxyAuth = keys.flag("isUseProxyAuth");
    info.proxyUsername = keys.text("proxyUsername");
}

void saveProxy(const VDConnectionInfo &info, Keys &keys) {
    const bool on = info.isUseProxy.toBool();
    const bool manual = on && !info.isProxyAuto.value_or(false);
    keys.setFlag("isProxy", info.isUseProxy.isValid() ? std::optional(on) : std::nullopt);
    if (!on)
        keys.remove({"autoProxy", "isProxyHTTPS"});
    else if (info.isProxyAuto)
        keys.setFlag("autoProxy", info.isProxyAuto);
    keys.set("proxyHost", manual ? QVariant(info.proxyHost) : QVariant());
    keys.setNumber("proxyPort", manual ? info.proxyPort : std::nullopt);
    if (on)
        keys.setFlag("isUseProxyAuth", info.isUseProxyAuth);
    keys.set("proxyUsername", on ? QVariant(info.proxyUsername) : QVariant());
    keys.setPassword("proxyPassword", on ? info.proxyPassword : QString());
}

bool equalProxies(const VDConnectionInfo &a, const VDConnectionInfo &b) {
    using namespace VDCommonUtils;
    if (!isEqualNumberBool(a.isUseProxy, b.isUseProxy))
        return false;
    if (!a.isUseProxy.toBool())
        return true;
    if (!isEqualNumberBool(boxed(a.isProxyAuto), boxed(b.isProxyAuto)))
        return false;
    if (!a.isProxyAuto.value_or(false) && !(isEqualString(a.proxyHost, b.proxyHost) &&
                                            isEqualString(boxed(a.proxyPort), boxed(b.proxyPort))))
        return false;
    if (!isEqualNumberBool(boxed(a.isUseProxyAuth), boxed(b.isUseProxyAuth)))
        return false;
    return !a.isUseProxyAuth.value_or(false) || (isEqualString(a.proxyUsername, b.proxyUsername) &&
                                                 isEqualString(a.proxyPassword, b.proxyPassword));
}

bool equalIdentities(const VDConnectionInfo &a, const VDConnectionInfo &b) {
    if (a.certArr.isEmpty() || b.certArr.isEmpty())
        return a.certArr.isEmpty() == b.certArr.isEmpty();
    return a.certArr.constFirst() == b.certArr.constFirst();
}

// Turns the proxy off where the system names none.
void takeSystemProxy(ASHttpConnectInfo &parameters, const std::optional<ProxyConf> &proxy) {
    parameters.isUseProxy = proxy.has_value();
    if (!proxy)
        return;
    parameters.isUseProxyHTTPS = proxy->isHTTPS.value_or(false);
    parameters.proxyHost = proxy->host;
    parameters.proxyPort = proxy->port;
    parameters.proxyUsername = proxy->userid;
    parameters.proxyPassword = proxy->password;
    parameters.isUseProxyAuthorization = !proxy->userid.isNull() && !proxy->password.isNull();
}

}  // namespace

std::shared_ptr<VDConnectionInfo> VDConnectionInfo::loadConnectInfo(const QString &connectionName,
                                                                    Preferences &store) {
    if (connectionName == kLegacyName) {
        if (auto legacy = loadConnectInfo(store)) {
            // The old keys go only when the new ones are safe.
            if (legacy->saveConnectInfo(nullptr, store))
                deleteConnectInfo(nullptr, store);
            return legacy;
        }
    }

    const Keys keys(store, connectionName);
    const QString url = keys.text("remoteURL");
    if (url.isEmpty())
        return nullptr;

    auto info = std::make_shared<VDConnectionInfo>();
    info->connectionName = connectionName;
    info->RemoteURL = url;
    info->isAutoMount = keys.flag("isAutoMount");
    loadLoginAndMountPoint(*info, keys);
    info->password = keys.password("userPassword");
    info->savePassword = !VDCommonUtils::isNilOrEmpty(info->password);
    info->isUseProxy = keys.value("isProxy");
    loadProxy(*info, keys);
    info->proxyPassword = keys.password("proxyPassword");
    info->devideSizeIndex = keys.number("devideSizeIndex").value_or(0);
    info->isUseCert = keys.flag("isUseCert");
    info->isAllowSelfsign = keys.flag("isAllowSelfsign");
    return info;
}

std::shared_ptr<VDConnectionInfo> VDConnectionInfo::loadConnectInfo(Preferences &store) {
    const Keys keys(store);
    const QString url = keys.text("remoteURL");
    if (url.isEmpty())
        return nullptr;

    auto info = std::make_shared<VDConnectionInfo>();
    info->connectionName = kLegacyName;
    info->RemoteURL = url;
    loadLoginAndMountPoint(*info, keys);
    // The old form is read with the mount point for this flag, and stays so: a record with a mount
    // point of its own comes with the proxy on.
    info->isUseProxy = keys.value("mountPoint");
    loadProxy(*info, keys);
    info->devideSizeIndex = 0;
    info->isUseCert = false;
    info->isAllowSelfsign = false;
    return info;
}

bool VDConnectionInfo::saveConnectInfo(ErrorOut error, Preferences &store) const {
    Keys keys(store, connectionName);
    keys.set("remoteURL", RemoteURL);
    if (isAutoMount)
        keys.setFlag("isAutoMount", isAutoMount);
    keys.set("username", saveID ? QVariant(username) : QVariant());
    keys.setPassword("userPassword", savePassword ? password : QString());
    keys.set("mountPoint", chengeMountPoint ? QVariant(mountPoint) : QVariant());
    saveProxy(*this, keys);
    keys.setNumber("devideSizeIndex", devideSizeIndex.value_or(0));
    keys.setFlag("isUseCert", isUseCert);
    keys.setFlag("isAllowSelfsign", isAllowSelfsign);
    return store.synchronize(error);
}

bool VDConnectionInfo::deleteConnectInfo(const QString &connectionName, ErrorOut error,
                                         Preferences &store) {
    Keys keys(store, connectionName);
    // "isAutoMount" stays: a connection made again under the name inherits it.
    keys.remove({"remoteURL", "username", "userPassword", "mountPoint", "isProxy", "autoProxy",
                 "isProxyHTTPS", "proxyHost", "proxyPort", "isUseProxyAuth", "proxyUsername",
                 "proxyPassword", "devideSizeIndex", "isUseCert", "isAllowSelfsign"});
    return store.synchronize(error);
}

bool VDConnectionInfo::deleteConnectInfo(ErrorOut error, Preferences &store) {
    Keys keys(store);
    // "autoProxy" and "isUseProxyAuth" stay, which no one reads without a URL.
    keys.remove({"remoteURL", "username", "mountPoint", "isProxy", "isProxyHTTPS", "proxyHost",
                 "proxyPort", "proxyUsername"});
    return store.synchronize(error);
}

bool VDConnectionInfo::equals(const VDConnectionInfo &other) const {
    using namespace VDCommonUtils;
    if (!isEqualString(connectionName, other.connectionName) ||
        !isEqualString(RemoteURL, other.RemoteURL))
        return false;
    if (saveID != other.saveID || (saveID && !isEqualString(username, other.username)))
        return false;
    if (savePassword != other.savePassword ||
        (savePassword && !isEqualString(password, other.password)))
        return false;
    if (chengeMountPoint != other.chengeMountPoint ||
        (chengeMountPoint && mountPoint != other.mountPoint))
        return false;
    if (!equalProxies(*this, other))
        return false;
    // By text, so that a value never set differs from 0 and from off.
    if (!isEqualString(boxed(devideSizeIndex), boxed(other.devideSizeIndex)) ||
        !isEqualString(boxed(isUseCert), boxed(other.isUseCert)))
        return false;
    if (isUseCert.value_or(false) && !equalIdentities(*this, other))
        return false;
    return isEqualNumberBool(boxed(isAllowSelfsign), boxed(other.isAllowSelfsign)) &&
           isEqualNumberBool(boxed(isAutoMount), boxed(other.isAutoMount));
}

std::shared_ptr<ASHttpConnectInfo> VDConnectionInfo::makeHttpConnectinfo(
    const SystemProxySource &proxies) const {
    auto parameters = std::make_shared<ASHttpConnectInfo>();
    parameters->isUseAuthorization = true;
    parameters->username = username;
    parameters->password = password;

    parameters->isUseProxy = isUseProxy.toBool();
    if (parameters->isUseProxy && isProxyAuto.value_or(false)) {
        takeSystemProxy(*parameters, proxies.getProxy(QUrl(RemoteURL)));
    } else if (parameters->isUseProxy) {
        parameters->isUseProxyHTTPS = RemoteURL.startsWith(QLatin1String("https://"));
        parameters->proxyHost = proxyHost;
        parameters->proxyPort = proxyPort;
    }
    if (parameters->isUseProxy && isUseProxyAuth.value_or(false)) {
        parameters->isUseProxyAuthorization = true;
        parameters->proxyUsername = proxyUsername;
        parameters->proxyPassword = proxyPassword;
    }

    parameters->validatesSecureCertificate = !isAllowSelfsign.value_or(false);
    if (isUseCert.value_or(false))
        parameters->clientCertificates = certArr;
    return parameters;
}
