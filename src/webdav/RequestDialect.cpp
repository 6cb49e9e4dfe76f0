#include "webdav/RequestDialect.h"

#include <QRegularExpression>
#include <QStringList>

#include "common/UrlText.h"
#include "common/VDCommonUtils.h"

namespace {

QString text(const QUrl &url) {
    return url.toString(QUrl::FullyEncoded);
}

QString tagged(const QUrl &resource, const QString &token) {
    return QStringLiteral("<%1> (<%2>)").arg(text(resource), token);
}

QString taggedWithoutBlank(const QUrl &resource, const QString &token) {
    return QStringLiteral("<%1>(<%2>)").arg(text(resource), token);
}

QString untagged(const QString &token) {
    return QStringLiteral("(<%1>)").arg(token);
}

// Escapes stay what they are, so that an encoded "/" or "#" doesn't become a real one.
QString withVariablesInPlace(const QString &url, const QString &primary, const QString &user) {
    static const QRegularExpression variable(
        QStringLiteral("(?:\\$|%24)(?:\\{|%7[Bb])(primary|user)(?:\\}|%7[Dd])"));
    QString result;
    qsizetype at = 0;
    for (const auto &match : variable.globalMatch(url)) {
        const QString &value = match.captured(1) == QLatin1String("user") ? user : primary;
        result += url.mid(at, match.capturedStart() - at);
        result += QString::fromLatin1(QUrl::toPercentEncoding(value, "/@"));
        at = match.capturedEnd();
    }
    return text(RequestDialect::typedUrl(result + url.mid(at)));
}

}  // namespace

QString RequestDialect::range(qint64 start, qint64 end) const {
    const QString first = velmora ? QStringLiteral("bytes %1-") : QStringLiteral("bytes=%1-");
    const QString last = end < 0 ? QString() : QString::number(end);
    return first.arg(start) + last;
}

void RequestDialect::describeDestination(QMap<QString, QString> &headers,
                                         const QUrl &destination) const {
    if (!velmora)
        headers[QStringLiteral("Destination")] = text(destination);
}

QString RequestDialect::ifOfMove(const QList<HeldLock> &locks) const {
    QStringList conditions;
    for (const HeldLock &lock : locks)
        conditions += velmora ? untagged(lock.token) : tagged(lock.resource, lock.token);
    return conditions.join(velmora ? QString() : QStringLiteral(" "));
}

QString RequestDialect::ifOfDelete(const QList<HeldLock> &locks) const {
    return velmora ? QString() : ifOfMove(locks);
}

QString RequestDialect::ifOfCopy(const QUrl &source, const QString &token) const {
    return velmora ? taggedWithoutBlank(source, token) : tagged(source, token);
}

QString RequestDialect::ifOfPut(const QUrl &mountUrl, const QUrl &item,
                                const QString &token) const {
    return tagged(velmora ? mountUrl : item, token);
}

QString RequestDialect::ifOfPropPatch(const QUrl &item, const QString &token) const {
    return velmora ? taggedWithoutBlank(item, token) : tagged(item, token);
}

QString RequestDialect::ifOfLockRefresh(const QUrl &item, const QString &token) const {
    return velmora ? taggedWithoutBlank(item, token) : untagged(token);
}

QString RequestDialect::lockBody(const QString &owner, bool shared) const {
    // The blank in the last tag belongs to the form, and the owner's name goes out as it stands.
    const QString form = QStringLiteral(
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?>"
        "<D:lockinfo xmlns:D=\"DAV:\">"
        "<D:lockscope><D:%1/></D:lockscope>"
        "<D:locktype><D:write/></D:locktype>"
        "<D:owner>%2</D:owner>"
        "</D:lockinfo >");
    return form.arg(shared ? QStringLiteral("shared") : QStringLiteral("exclusive"),
                    velmora ? owner : VDCommonUtils::htmlEscape(owner));
}

QList<int> RequestDialect::successOf(const QList<int> &statuses) const {
    return velmora ? statuses : statuses + QList<int>{200, 201, 204};
}

bool RequestDialect::isLockGone(int unlockStatus) const {
    return !velmora && (unlockStatus == 400 || unlockStatus == 404 || unlockStatus == 409);
}

void RequestDialect::describeModification(QMap<QString, QString> &headers,
                                          const QDateTime &modified) const {
    // Nextcloud refuses files from the first day of its calendar.
    constexpr qint64 kFirstDay = 24 * 60 * 60;
    if (!velmora && modified.isValid() && modified.toSecsSinceEpoch() > kFirstDay)
        headers[QStringLiteral("X-OC-Mtime")] = QString::number(modified.toSecsSinceEpoch());
}

void RequestDialect::describeXmlBody(QMap<QString, QString> &headers) const {
    if (!velmora)
        headers[QStringLiteral("Content-Type")] = QStringLiteral("application/xml; charset=utf-8");
}

QString RequestDialect::decoded(const QString &encoded) const {
    // The vendor's server writes a blank as "+"; elsewhere a "+" is one. A byte order mark is part
    // of a name, but at the start of a text it would be dropped.
    QString guarded = QLatin1Char('x') + encoded;
    if (!velmora)
        guarded.replace(QLatin1Char('+'), QLatin1String("%2B"));
    return stringByDecodingURLFormat(guarded).mid(1);
}

QString RequestDialect::withVariables(const QString &url, const QString &primary,
                                      const QString &user) const {
    QString plain = velmora ? stringByDecodingURLFormat(url) : QString();
    plain.replace(QLatin1String("${primary}"), primary);
    plain.replace(QLatin1String("${user}"), user);
    const QString encoded = stringByEncodingURLFormat(plain);
    // Encoding a whole URL takes the brackets off a numeric host.
    const bool usable = !encoded.isNull() && QUrl(encoded).isValid();
    return usable ? encoded : withVariablesInPlace(url, primary, user);
}

QUrl RequestDialect::typedUrl(const QString &typed) {
    static const QRegularExpression looseEscape(QStringLiteral("%(?![0-9A-Fa-f]{2})"));
    QString text = typed.trimmed();
    text.replace(looseEscape, QStringLiteral("%25"));
    text.replace(QLatin1Char('#'), QLatin1String("%23"));
    return QUrl(text);
}
