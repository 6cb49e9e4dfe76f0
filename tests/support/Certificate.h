#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// A self-signed certificate and its key, made at run time.
struct Certificate {
    QByteArray certificatePem;
    QByteArray keyPem;

    struct Options {
        QString commonName = QStringLiteral("localhost");
        // DNS names and addresses it is valid for.
        QStringList names = {QStringLiteral("localhost"), QStringLiteral("127.0.0.1")};
        int validFromDays = -1;  // days from now
        int validToDays = 30;
    };
    static Certificate make(const Options &options);
    static Certificate make() { return make(Options()); }
};
