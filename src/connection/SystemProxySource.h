#pragma once

#include <optional>

#include <QString>
#include <QUrl>

// A proxy that the system names for a URL.
struct ProxyConf {
    QString host;
    std::optional<int> port;
    std::optional<bool> isHTTPS;  // the proxy is the one for https URLs
    QString userid;
    QString password;
};

// Where the system's own proxy settings come from.
class SystemProxySource {
  public:
    virtual ~SystemProxySource() = default;
    // The first proxy for the URL; nothing for a direct connection. May block.
    virtual std::optional<ProxyConf> getProxy(const QUrl &url) const = 0;
};
