#include "http/ASHttpConnectInfo.h"

#include <utility>

#include <QStringList>

std::optional<HttpCredentials> ASHttpConnectInfo::login(bool isProxy) const {
    const std::lock_guard guard(loginMutex);
    if (isProxy)
        return isUseProxyAuthorization
                   ? std::optional(
                         HttpCredentials{proxyAuthenticationScheme, proxyUsername, proxyPassword})
                   : std::nullopt;
    return isUseAuthorization
               ? std::optional(HttpCredentials{authenticationScheme, username, password})
               : std::nullopt;
}

void ASHttpConnectInfo::changeLogin(bool isProxy, QString newUsername, QString newPassword) {
    const std::lock_guard guard(loginMutex);
    (isProxy ? isUseProxyAuthorization : isUseAuthorization) = true;
    (isProxy ? proxyUsername : username) = std::move(newUsername);
    (isProxy ? proxyPassword : password) = std::move(newPassword);
    (isProxy ? proxyAuthenticationScheme : authenticationScheme) = QString();
}

void ASHttpConnectInfo::rememberScheme(bool isProxy, QString scheme) {
    const std::lock_guard guard(loginMutex);
    (isProxy ? proxyAuthenticationScheme : authenticationScheme) = std::move(scheme);
}

QString ASHttpConnectInfo::cookieValue() const {
    const std::lock_guard guard(cookieMutex);
    if (myCookies.isEmpty())
        return {};
    QStringList pairs;
    for (const QNetworkCookie &cookie : myCookies)
        pairs.append(QString::fromUtf8(cookie.toRawForm(QNetworkCookie::NameAndValueOnly)));
    return pairs.join(QStringLiteral("; "));
}

// Domain, path, expiry and the secure mark are left alone on purpose: a session is with one server,
// which gets back whatever it set.
void ASHttpConnectInfo::setCookie(const QVariantMap &responseHeader, const QUrl &) {
    for (auto field = responseHeader.begin(); field != responseHeader.end(); ++field) {
        if (field.key().compare(QLatin1String("Set-Cookie"), Qt::CaseInsensitive) != 0)
            continue;
        const QList<QNetworkCookie> cookies =
            QNetworkCookie::parseCookies(field.value().toString().toUtf8());
        const std::lock_guard guard(cookieMutex);
        for (const QNetworkCookie &cookie : cookies)
            myCookies.insert(QString::fromUtf8(cookie.name()), cookie);
    }
}
