#include "connection/VDAutoProxySetting.h"

#include <QStringList>

#include "platform/net/ProxyScript.h"
#include "platform/system/ProxyPasswords.h"

namespace {

using Type = ProxyDescription::Type;

// The port of a proxy that a script names without one.
constexpr int kDefaultPort = 80;

const QString kHttps = QStringLiteral("https");

Type typeFor(const QUrl &url) {
    return url.scheme() == kHttps ? Type::HTTPS : Type::HTTP;
}

// Nothing for kinds of proxies that can't be used here, so that the script's next choice counts.
std::optional<ProxyDescription> descriptionOf(const QString &answer, const QUrl &url) {
    const QString kind = answer.section(QLatin1Char(' '), 0, 0).toUpper();
    if (kind == QLatin1String("DIRECT"))
        return ProxyDescription();
    if (kind != QLatin1String("PROXY") && kind != QLatin1String("HTTP"))
        return std::nullopt;
    const QUrl place(QLatin1String("http://") + answer.section(QLatin1Char(' '), 1));
    if (place.host().isEmpty())
        return std::nullopt;
    ProxyDescription description;
    description.host = place.host();
    description.port = place.port(kDefaultPort);
    description.type = typeFor(url);
    return description;
}

QUrl scriptPlace(const QString &scriptURL) {
    return scriptURL.startsWith(QLatin1Char('/')) ? QUrl::fromLocalFile(scriptURL)
                                                  : QUrl(scriptURL);
}

}  // namespace

VDAutoProxySetting::VDAutoProxySetting()
    : VDAutoProxySetting(Platform{ProxySettings::ofSystem, ProxyScript::fetch,
                                  ProxyScript::evaluate, ProxyPasswords::find}) {}

std::optional<ProxyConf> VDAutoProxySetting::getProxy(const QUrl &url) const {
    const auto descriptions = getProxySettingForURL(url);
    if (!descriptions || descriptions->isEmpty())
        return std::nullopt;
    // The first one whatever it is: a direct connection has an empty host.
    const ProxyDescription &first = descriptions->constFirst();
    ProxyConf conf;
    conf.host = first.host;
    conf.port = first.port;
    conf.isHTTPS = first.type == Type::HTTPS;
    conf.userid = first.username;
    conf.password = first.password;
    return conf;
}

std::optional<QList<ProxyDescription>> VDAutoProxySetting::getProxySettingForURL(
    const QUrl &url) const {
    const std::optional<ProxySettings> settings = platform.copyProxies();
    if (!settings)
        return std::nullopt;
    QList<ProxyDescription> descriptions;
    if (settings->isScriptEnabled)
        descriptions = scriptProxies(settings->scriptURL, url);
    const bool isHttps = url.scheme() == kHttps;
    if (!isHttps && url.scheme() != QLatin1String("http"))
        return descriptions;
    const ProxySettings::Fixed &proxy = isHttps ? settings->https : settings->http;
    if (proxy.isEnabled && !settings->isExcepted(url.host()))
        descriptions.append(fixedProxy(proxy, url));
    return descriptions;
}

QList<ProxyDescription> VDAutoProxySetting::scriptProxies(const QString &scriptURL,
                                                          const QUrl &url) const {
    // The bytes go to the engine as they are, which takes them for ISO Latin 1.
    const QByteArray script = platform.fetchScript(scriptPlace(scriptURL));
    if (script.isEmpty())
        return {};
    QList<ProxyDescription> descriptions;
    const QStringList answers =
        platform.evaluateScript(script, url).split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &answer : answers) {
        if (const auto description = descriptionOf(answer.simplified(), url))
            descriptions.append(*description);
    }
    return descriptions;
}

ProxyDescription VDAutoProxySetting::fixedProxy(const ProxySettings::Fixed &proxy,
                                                const QUrl &url) const {
    ProxyDescription description;
    description.host = proxy.host;
    description.port = proxy.port;
    description.type = typeFor(url);
    if (proxy.user.isEmpty())
        return description;
    description.username = proxy.user;
    description.password = proxy.password;
    if (!description.password.isNull())
        return description;
    QUrl place;
    place.setScheme(url.scheme());
    place.setHost(proxy.host);
    place.setPort(proxy.port.value_or(-1));
    description.password = getPasswordForPlace(place, proxy.user);
    return description;
}

QString VDAutoProxySetting::getPasswordForPlace(const QUrl &place, const QString &account) const {
    return platform.findPassword(place.host(), place.port(0),
                                 place.scheme() == kHttps ? kHttps : QStringLiteral("http"),
                                 account);
}
