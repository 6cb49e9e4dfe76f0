#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QUrl>

#include "platform/system/ProxySettings.h"

namespace {

enum ProxyType { kNone, kManual, kScript, kDiscovered, kEnvironment };

// "http://host:port", or with a space in place of the last colon.
ProxySettings::Fixed fixedProxy(QString text) {
    static const QRegularExpression spaces(QStringLiteral("\\s+"));
    text = text.trimmed().replace(spaces, QStringLiteral(":"));
    if (text.isEmpty())
        return {};
    const QUrl url(text.contains(QLatin1String("://")) ? text : QLatin1String("http://") + text);
    ProxySettings::Fixed proxy;
    proxy.isEnabled = url.scheme() == QLatin1String("http") && !url.host().isEmpty();
    proxy.host = url.host();
    if (url.port() > 0)
        proxy.port = url.port();
    if (!url.userName().isEmpty())
        proxy.user = url.userName(QUrl::FullyDecoded);
    if (!url.password().isEmpty())
        proxy.password = url.password(QUrl::FullyDecoded);
    return proxy;
}

// The file knows no lists: what looks like one is a text with commas.
QString text(const QSettings &file, const char *key) {
    return file.value(QLatin1String("Proxy Settings/") + QLatin1String(key))
        .toStringList()
        .join(QLatin1Char(','));
}

// The names of environment variables stand where the proxies would.
QString fromEnvironment(const QString &name) {
    return qEnvironmentVariable(name.toLatin1().constData());
}

}  // namespace

std::optional<ProxySettings> ProxySettings::ofKde() {
    static const QRegularExpression separators(QStringLiteral("[,\\s]+"));
    const QSettings file(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                             QStringLiteral("/kioslaverc"),
                         QSettings::IniFormat);
    ProxySettings settings;
    QString http = text(file, "httpProxy");
    QString https = text(file, "httpsProxy");
    QString exceptions = text(file, "NoProxyFor");
    switch (text(file, "ProxyType").toInt()) {
        case kScript:
            settings.scriptURL = text(file, "Proxy Config Script");
            settings.isScriptEnabled = !settings.scriptURL.isEmpty();
            break;
        case kEnvironment:
            http = fromEnvironment(http);
            https = fromEnvironment(https);
            exceptions = fromEnvironment(exceptions);
            [[fallthrough]];
        case kManual:
            settings.http = fixedProxy(http);
            settings.https = fixedProxy(https);
            settings.exceptions = exceptions.split(separators, Qt::SkipEmptyParts);
            settings.isReversed = text(file, "ReversedException") == QLatin1String("true");
            break;
        default:
            break;
    }
    return settings.isScriptEnabled || settings.http.isEnabled || settings.https.isEnabled
               ? std::optional(settings)
               : std::nullopt;
}
