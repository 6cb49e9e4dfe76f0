#include "app/ConnectionUrl.h"

#include <QUrl>

namespace ConnectionUrl {

namespace {

const QString kSchemeEnd = QStringLiteral("://");

QString withoutScheme(const QString &url) {
    return url.mid(url.indexOf(kSchemeEnd) + kSchemeEnd.size());
}

QString authorityOf(const QString &url) {
    return withoutScheme(url).section(QLatin1Char('/'), 0, 0);
}

}  // namespace

const char *problemOf(const QString &typed) {
    // What stands in a command is seen by every user of the machine.
    const QString readable = readableUrl(typed);
    if (authorityOf(typed).contains(QLatin1Char('@')) ||
        authorityOf(readable).contains(QLatin1Char('@')))
        return "Cli_Url_Login";
    // In readable text a "?" can only begin a query.
    if (typed.contains(QStringLiteral("%3F"), Qt::CaseInsensitive))
        return "Cli_Url_QuestionMark";
    if (readable.contains(QChar::Null))
        return "Cli_Url_Invalid";
    return nullptr;
}

QString readableUrl(const QString &typed) {
    return QUrl::fromPercentEncoding(typed.trimmed().toUtf8());
}

QString nameFor(const QString &readable) {
    const QStringList parts = withoutScheme(readable)
                                  .section(QLatin1Char('?'), 0, 0)
                                  .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const QString last = parts.isEmpty() ? QString() : parts.last();
    // A dot is no name, and a variable of the URL none that a person would know again.
    if (parts.size() > 1 && last != QStringLiteral(".") && last != QStringLiteral("..") &&
        !last.contains(QLatin1Char('$')))
        return last;
    const QString host = QUrl(readable).host();
    return host.isEmpty() ? readable : host;
}

}  // namespace ConnectionUrl
