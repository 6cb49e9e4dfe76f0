#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

struct HttpCredentials {
    QString scheme;  // "Basic" or "Digest"
    QString username;
    QString password;
};

// One challenge of a 401 or 407, and the answer to a Digest one (RFC 7616, quality "auth"; MD5 and
// SHA-256, with or without "-sess").
//
// curl's own Digest isn't used: it keeps a challenge with one curl handle, which no two threads can
// share; it goes on with the old nonce where it saw the new one without a login; and it sends a PUT
// with an empty body first.
struct HttpChallenge {
    QString scheme;  // "Basic" or "Digest"; null for those that aren't supported
    QByteArray realm;
    QByteArray nonce;  // null but for Digest
    QByteArray opaque;
    QByteArray algorithm;  // as sent
    bool hasQuality = false;

    // The best challenge of a WWW-Authenticate or Proxy-Authenticate field: Digest before Basic,
    // and what the server named first.
    static HttpChallenge best(const QString &field);
    // Use is counted from 1. The client's nonce is random unless given.
    QByteArray answer(const HttpCredentials &credentials, const QByteArray &method,
                      const QByteArray &target, quint32 use,
                      const QByteArray &clientNonce = QByteArray()) const;

  private:
    using Parameters = QMap<QByteArray, QByteArray>;
    static HttpChallenge from(const QByteArray &scheme, const Parameters &parameters);
};
