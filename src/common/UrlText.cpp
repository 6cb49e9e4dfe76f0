#include "common/UrlText.h"

#include <QRegularExpression>
#include <QUrl>

QString stringByDecodingURLFormat(const QString &text) {
    if (text.isNull())
        return {};
    static const QRegularExpression strayPercent(QStringLiteral("%(?![0-9A-Fa-f]{2})"));
    QString escaped = text;
    escaped.replace(u'+', u' ').replace(strayPercent, QStringLiteral("%25"));
    const QByteArray bytes = QByteArray::fromPercentEncoding(escaped.toUtf8());
    if (!bytes.isValidUtf8())
        return {};
    return bytes.isEmpty() ? QStringLiteral("") : QString::fromUtf8(bytes);
}

QString stringByEncodingURLFormat(const QString &text) {
    return stringByEncodingURLFormatAll(text, false);
}

QString stringByEncodingURLFormatAll(const QString &text, bool encodeColon) {
    if (text.isNull())
        return {};
    const QByteArray kept = encodeColon ? "!$&'()*+,/;=?@" : "!$&'()*+,/;=?@:";
    return QString::fromLatin1(QUrl::toPercentEncoding(text, kept));
}
