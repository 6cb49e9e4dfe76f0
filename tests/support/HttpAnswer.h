#pragma once

#include "DavTree.h"
#include "RecordedRequest.h"

// What a request is to be answered with.
struct HttpAnswer {
    int status = 200;
    QByteArray reason = {};
    QList<HeaderLine> headers = {};
    Content body = {};
    qint64 offset = 0;   // of the body's first byte to send
    qint64 length = -1;  // bytes of body to send; below 0 all from offset

    qint64 bodyLength() const { return length >= 0 ? length : body.size() - offset; }
    QByteArray statusLine() const;
    void add(const QByteArray &name, const QByteArray &value) { headers.append({name, value}); }
    static HttpAnswer text(int status, const QByteArray &body, const QByteArray &contentType);
};
