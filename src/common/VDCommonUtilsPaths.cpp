#include "common/VDCommonUtils.h"

namespace VDCommonUtils {

namespace {

QString withoutTrailingSlashes(const QString &text) {
    qsizetype length = text.size();
    while (length > 0 && text[length - 1] == u'/')
        --length;
    return text.left(length);
}

QString withoutLeadingSlashes(const QString &text) {
    qsizetype start = 0;
    while (start < text.size() && text[start] == u'/')
        ++start;
    return text.mid(start);
}

// A trailing "/" is stripped from the wrong end, character by character, until nothing is left.
// With a base of "" every absolute path lies below the root, which callers rely on.
QString trailingSlashStep(const QString &text) {
    return text.endsWith(u'/') ? QStringLiteral("") : text;
}

}  // namespace

bool isUrlFull(const QString &text) {
    return text.startsWith(u"http://") || text.startsWith(u"https://");
}

QString getParentName(const QString &path) {
    const QString item = withoutTrailingSlashes(path);
    const qsizetype slash = item.lastIndexOf(u'/');
    const QString parent = withoutTrailingSlashes(item.left(slash + 1));
    const bool isAbsolute = path.startsWith(u'/');
    return parent.isEmpty() && isAbsolute ? QStringLiteral("/") : parent;
}

QString lastPathComponent(const QString &path) {
    const QString item = withoutTrailingSlashes(path);
    if (item.isEmpty())
        return path.left(1);
    return item.mid(item.lastIndexOf(u'/') + 1);
}

bool isEqualPathOrSubPath(const QString &path, const QString &srcPath) {
    return trailingSlashStep(path) == trailingSlashStep(srcPath) || isSubPath(path, srcPath);
}

bool isSubPath(const QString &path, const QString &srcPath) {
    const QString base = trailingSlashStep(srcPath);
    const QString item = trailingSlashStep(path);
    return item.size() > base.size() && item.startsWith(base) && item[base.size()] == u'/';
}

QString partPath(const QString &path, int limitComponents) {
    const QStringList components = path.split(u'/', Qt::SkipEmptyParts);
    if (components.size() <= limitComponents)
        return path;
    QString part = QStringLiteral("");
    for (const QString &component : components.first(limitComponents))
        part += u'/' + component;
    return part;
}

QUrl urlAppendPath(const QUrl &url, const QString &path) {
    QString encoded = withoutTrailingSlashes(url.path(QUrl::FullyEncoded));
    const QString appended = withoutLeadingSlashes(path);
    if (!appended.isEmpty())
        encoded += u'/' + QString::fromLatin1(QUrl::toPercentEncoding(appended, "!$&'()*+,/:=@"));
    QUrl result = url;
    // The text is encoded already: any other mode would read a "%" of a name as an escape once more
    // or leave it alone, depending on what follows it.
    result.setPath(encoded, QUrl::StrictMode);
    return result;
}

}  // namespace VDCommonUtils
