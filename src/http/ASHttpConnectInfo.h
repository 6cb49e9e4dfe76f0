#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include <QMap>
#include <QNetworkCookie>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include "platform/net/HttpMessage.h"
#include "platform/net/HttpSession.h"

// The client identity offered to a TLS server.
struct ClientIdentity {
    QString label;
    // Files, or PKCS#11 URIs; a PKCS#12 file holds both.
    QString certificate;
    QString privateKey;
    // "PEM", "P12" or "ENG"
    QString type;
    QString passphrase;

    bool operator==(const ClientIdentity &other) const = default;
};

// What a session needs to reach its server. A live part of the session, shared by reference: the
// schemes, the cookies and, during discovery, the users and the certificate check are written
// while it is in use. A change applies to the next request.
class ASHttpConnectInfo {
  public:
    bool isUseAuthorization = false;         // answer a 401 with username and password
    bool isUseProxy = false;                 // needs proxyHost and proxyPort as well
    bool isUseProxyHTTPS = false;            // the proxy serves https URLs, else http ones
    bool isUseProxyAuthorization = false;    // answer a 407
    bool validatesSecureCertificate = true;  // false: neither chain nor host name is checked
    QString username;
    QString password;
    // "Basic" or "Digest" after a first challenge; null makes the next request wait for one.
    QString authenticationScheme;
    QString proxyHost;
    std::optional<int> proxyPort;
    QString proxyUsername;
    QString proxyPassword;
    QString proxyAuthenticationScheme;
    QList<ClientIdentity> clientCertificates;

    // What the connections of all the session's threads share.
    const std::shared_ptr<HttpSession> httpSession = std::make_shared<HttpSession>();

    // The login for the server or the proxy; empty where it isn't to be used, with a null scheme
    // where no challenge has told it yet.
    std::optional<HttpCredentials> login(bool isProxy) const;
    // For changes while requests may be under way on other threads.
    void changeLogin(bool isProxy, QString username, QString password);
    void rememberScheme(bool isProxy, QString scheme);

    // The text of a "Cookie" field, null without cookies. Every cookie goes with every request.
    QString cookieValue() const;
    // Keeps the cookies of a response, a later one of the same name replacing the earlier.
    void setCookie(const QVariantMap &responseHeader, const QUrl &forURL);

  private:
    mutable std::mutex loginMutex;  // guards the logins and schemes in the operations above
    mutable std::mutex cookieMutex;
    QMap<QString, QNetworkCookie> myCookies;
};
