#pragma once

#include <functional>
#include <optional>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include "connection/SystemProxySource.h"
#include "platform/system/ProxySettings.h"

// One way to reach a URL, as the system's settings or an automatic script name it.
struct ProxyDescription {
    enum class Type { None, HTTP, HTTPS };
    QString host;  // null for a direct connection
    std::optional<int> port;
    Type type = Type::None;  // HTTPS: the proxy is the one for https URLs
    QString username;
    QString password;

    bool operator==(const ProxyDescription &other) const = default;
};

// The proxies that the system's settings name for a URL. Blocks for the script of an automatic
// configuration, within limits of some seconds. Any thread.
class VDAutoProxySetting : public SystemProxySource {
  public:
    // What is asked of the system. A null or empty answer means that there is none.
    struct Platform {
        std::function<std::optional<ProxySettings>()> copyProxies;
        std::function<QByteArray(const QUrl &url)> fetchScript;
        std::function<QString(const QByteArray &script, const QUrl &url)> evaluateScript;
        std::function<QString(const QString &server, int port, const QString &protocol,
                              const QString &account)>
            findPassword;
    };

    // This machine's.
    VDAutoProxySetting();
    explicit VDAutoProxySetting(Platform platform) : platform(std::move(platform)) {}

    std::optional<ProxyConf> getProxy(const QUrl &url) const override;
    // In order of preference; nothing when the system has no settings.
    std::optional<QList<ProxyDescription>> getProxySettingForURL(const QUrl &url) const;
    // The stored password of a proxy, null where there is none.
    QString getPasswordForPlace(const QUrl &place, const QString &account) const;

  private:
    QList<ProxyDescription> scriptProxies(const QString &scriptURL, const QUrl &url) const;
    ProxyDescription fixedProxy(const ProxySettings::Fixed &proxy, const QUrl &url) const;

    const Platform platform;
};
