#include "RecordedRequest.h"

QString RecordedRequest::path() const {
    QByteArray text = target;
    if (const auto scheme = text.indexOf("://"); scheme >= 0) {
        const auto slash = text.indexOf('/', scheme + 3);
        text = slash < 0 ? QByteArray("/") : text.mid(slash);
    }
    if (const auto query = text.indexOf('?'); query >= 0)
        text.truncate(query);
    while (text.size() > 1 && text.endsWith('/'))
        text.chop(1);
    return QString::fromUtf8(QByteArray::fromPercentEncoding(text));
}

bool RecordedRequest::has(const char *name) const {
    return !header(name).isNull();
}

QByteArray RecordedRequest::header(const char *name) const {
    for (const HeaderLine &line : headers) {
        if (line.name.compare(name, Qt::CaseInsensitive) == 0)
            return line.value.isNull() ? QByteArray("") : line.value;
    }
    return {};
}

QList<QByteArray> RecordedRequest::headerNames() const {
    QList<QByteArray> names;
    for (const HeaderLine &line : headers)
        names.append(line.name);
    return names;
}
