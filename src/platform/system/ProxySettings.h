#pragma once

#include <optional>

#include <QString>
#include <QStringList>

// The proxies that the person's desktop or environment names.
struct ProxySettings {
    // The proxy for the URLs of one scheme.
    struct Fixed {
        bool isEnabled = false;
        QString host;
        std::optional<int> port;
        QString user;      // null for none
        QString password;  // only where the settings hold it themselves
    };

    bool isScriptEnabled = false;
    QString scriptURL;
    Fixed http;
    Fixed https;
    // Hosts reached directly: a domain with all below it, an address, a subnet, or "*" for all.
    QStringList exceptions;
    // Nothing but the exceptions goes through a proxy.
    bool isReversed = false;

    // Whether a fixed proxy is not for that host. Scripts decide for themselves.
    bool isExcepted(const QString &host) const;

    // The settings in force: the desktop's; the environment's where the desktop names no proxy.
    static std::optional<ProxySettings> ofSystem();

    // Each is empty where there is no proxy in it.
    // http_proxy, https_proxy, all_proxy and no_proxy, the last three in capitals as well. Only
    // plain HTTP proxies count.
    static std::optional<ProxySettings> ofEnvironment();
    // The settings of GNOME and the desktops that share them, if they are installed.
    static std::optional<ProxySettings> ofGnome();
    // KDE's kioslaverc.
    static std::optional<ProxySettings> ofKde();
};
