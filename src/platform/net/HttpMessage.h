#pragma once

#include <memory>
#include <optional>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include "platform/net/HttpChallenge.h"

// A request: method, URL, header fields, body and the credentials that go with it.
struct HttpMessage {
    struct Field {
        QString name;
        QString value;
    };

    // Nothing for a URL that isn't http or https, has no host, or for a method that is no token.
    static std::unique_ptr<HttpMessage> createRequest(const QString &method, const QUrl &url);

    QByteArray method;
    QUrl url;
    QList<Field> fields;
    QByteArray body;  // null: none
    std::optional<HttpCredentials> credentials;
    std::optional<HttpCredentials> proxyCredentials;

    // Replaces the field of that name whatever its case; a null value removes it. Line breaks are
    // taken out of name and value.
    void setHeaderField(const QString &name, const QString &value);
    // Null without the field.
    QString headerField(const QString &name) const;
    // Credentials without a challenge before them. False for a scheme other than Basic and Digest.
    bool addAuthentication(const QString &username, const QString &password, const QString &scheme,
                           bool isProxy);
};

// The answer's first line and fields. Names keep the server's spelling; values of repeated fields
// are joined by ", ", those of Set-Cookie by line feeds.
struct HttpResponse {
    int statusCode = 0;
    QString statusLine;
    QList<HttpMessage::Field> fields;

    void addField(const QString &name, const QString &value);
    QString headerField(const QString &name) const;
};
