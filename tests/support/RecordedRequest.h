#pragma once

#include <chrono>

#include <QByteArray>
#include <QList>
#include <QString>

struct HeaderLine {
    QByteArray name;
    QByteArray value;
};

// A request as it came over the wire.
struct RecordedRequest {
    QByteArray method;            // as sent, in its case
    QByteArray target;            // as sent, not decoded
    QByteArray head;              // request line and header lines, each with its CRLF
    QList<HeaderLine> headers;    // in the order and case they were sent
    QByteArray body;              // without the framing of chunks; at most the first 16 MiB
    qint64 bodySize = 0;          // all of it
    int number = 0;               // counted from 1 over the server's life
    int connection = 0;           // counted from 1
    int status = 0;               // what was answered, 0 before and where nothing was
    QByteArray clientCommonName;  // of the certificate shown by a TLS client
    std::chrono::steady_clock::time_point time;  // when the request was complete

    // The target's path, decoded, without query and without a trailing "/" (but "/" itself).
    QString path() const;
    bool has(const char *name) const;
    // The value of the first header line of that name in any case; null without one.
    QByteArray header(const char *name) const;
    QList<QByteArray> headerNames() const;
};
