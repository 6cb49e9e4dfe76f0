#include "connection/ConnectionUrl.h"

#include <QRegularExpression>
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

bool hasKnownScheme(const QString &typed) {
    const QString scheme = typed.trimmed().section(kSchemeEnd, 0, 0).toLower();
    return typed.contains(kSchemeEnd) &&
           (scheme == QStringLiteral("http") || scheme == QStringLiteral("https"));
}

const char *serverProblem(const QString &authority) {
    static const QRegularExpression parts(
        QStringLiteral("^(\\[[^\\]]+\\]|[^\\[\\]:]+)(?::(.*))?$"));
    const QRegularExpressionMatch match = parts.match(authority);
    if (!match.hasMatch() ||
        !QUrl(QStringLiteral("http://") + match.captured(1), QUrl::StrictMode).isValid())
        return "Cli_Url_Host";
    const QString port = match.captured(2);
    bool isNumber = true;
    const int number = port.isEmpty() ? 80 : port.toInt(&isNumber);
    return isNumber && number > 0 && number < 65536 ? nullptr : "Cli_Url_Port";
}

}  // namespace

const char *problemOf(const QString &typed) {
    if (!hasKnownScheme(typed))
        return "Cli_Url_Scheme";
    // What stands in a command is seen by every user of the machine.
    const QString readable = readableUrl(typed);
    if (authorityOf(typed).contains(QLatin1Char('@')) ||
        authorityOf(readable).contains(QLatin1Char('@')))
        return "Cli_Url_Login";
    // In readable text a "?" can only begin a query.
    if (typed.contains(QStringLiteral("%3F"), Qt::CaseInsensitive))
        return "Cli_Url_QuestionMark";
    if (typed.contains(QLatin1Char('?')))
        return "Cli_Url_Query";
    if (typed.contains(QLatin1Char('#')))
        return "Cli_Url_Fragment";
    if (readable.contains(QChar::Null))
        return "Cli_Url_Invalid";
    return serverProblem(authorityOf(readable));
}

QString readableUrl(const QString &typed) {
    const QString readable = QUrl::fromPercentEncoding(typed.trimmed().toUtf8());
    const qsizetype scheme = readable.indexOf(kSchemeEnd);
    return scheme < 0 ? readable : readable.left(scheme).toLower() + readable.mid(scheme);
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
