#include <initializer_list>

#include <QRegularExpression>
#include <QUrl>

#include "platform/system/ProxySettings.h"

namespace {

// The port of a proxy that is named without one, as other programs take it.
constexpr int kDefaultPort = 1080;

QString firstSet(std::initializer_list<const char *> names) {
    for (const char *name : names) {
        if (const QString value = qEnvironmentVariable(name).trimmed(); !value.isEmpty())
            return value;
    }
    return {};
}

ProxySettings::Fixed fixedProxy(QString text) {
    if (text.isEmpty())
        return {};
    if (!text.contains(QLatin1String("://")))
        text.prepend(QLatin1String("http://"));
    const QUrl url(text);
    if (url.scheme() != QLatin1String("http") || url.host().isEmpty())
        return {};

    ProxySettings::Fixed proxy{.isEnabled = true,
                               .host = url.host(),
                               .port = url.port(kDefaultPort),
                               .user = {},
                               .password = {}};
    if (!url.userName().isEmpty())
        proxy.user = url.userName(QUrl::FullyDecoded);
    if (!url.password().isEmpty())
        proxy.password = url.password(QUrl::FullyDecoded);
    return proxy;
}

}  // namespace

std::optional<ProxySettings> ProxySettings::ofEnvironment() {
    static const QRegularExpression separators(QStringLiteral("[,\\s]+"));
    ProxySettings settings;
    // HTTP_PROXY isn't read: a web server passes a client's "Proxy" field on under that name.
    settings.http = fixedProxy(firstSet({"http_proxy", "all_proxy", "ALL_PROXY"}));
    settings.https = fixedProxy(firstSet({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}));
    settings.exceptions = firstSet({"no_proxy", "NO_PROXY"}).split(separators, Qt::SkipEmptyParts);
    return settings.http.isEnabled || settings.https.isEnabled ? std::optional(settings)
                                                               : std::nullopt;
}
