#include "connection/EnvironmentProxySource.h"

#include <algorithm>
#include <initializer_list>

#include <QHostAddress>
#include <QRegularExpression>

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

// HTTP_PROXY isn't read: a web server passes a client's "Proxy" field on under that name.
QString proxyText(const QString &scheme) {
    if (scheme == QLatin1String("https"))
        return firstSet({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
    if (scheme == QLatin1String("http"))
        return firstSet({"http_proxy", "all_proxy", "ALL_PROXY"});
    return {};
}

// An entry is a domain with all below it, an address or a subnet.
bool covers(QString entry, const QString &host) {
    const QHostAddress address(host);
    if (!address.isNull()) {
        const auto subnet = QHostAddress::parseSubnet(entry);
        return subnet.second >= 0 && address.isInSubnet(subnet);
    }
    if (entry.startsWith(QLatin1Char('.')))
        entry.remove(0, 1);
    return host.compare(entry, Qt::CaseInsensitive) == 0 ||
           host.endsWith(QLatin1Char('.') + entry, Qt::CaseInsensitive);
}

bool isExcepted(const QString &host) {
    static const QRegularExpression separators(QStringLiteral("[,\\s]+"));
    const QStringList entries =
        firstSet({"no_proxy", "NO_PROXY"}).split(separators, Qt::SkipEmptyParts);
    return std::any_of(entries.begin(), entries.end(), [&host](const QString &entry) {
        return entry == QLatin1String("*") || covers(entry, host);
    });
}

}  // namespace

std::optional<ProxyConf> EnvironmentProxySource::getProxy(const QUrl &url) const {
    QString text = proxyText(url.scheme());
    if (text.isEmpty() || isExcepted(url.host()))
        return std::nullopt;
    if (!text.contains(QLatin1String("://")))
        text.prepend(QLatin1String("http://"));

    const QUrl proxy(text);
    if (proxy.scheme() != QLatin1String("http") || proxy.host().isEmpty())
        return std::nullopt;

    ProxyConf conf;
    conf.host = proxy.host();
    conf.port = proxy.port(kDefaultPort);
    conf.isHTTPS = url.scheme() == QLatin1String("https");
    if (!proxy.userName().isEmpty())
        conf.userid = proxy.userName(QUrl::FullyDecoded);
    if (!proxy.password().isEmpty())
        conf.password = proxy.password(QUrl::FullyDecoded);
    return conf;
}
