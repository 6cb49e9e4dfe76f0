#include "cache/FileIdentifier.h"

namespace {

const QDateTime &startOf1970() {
    static const QDateTime start = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
    return start;
}

}  // namespace

FileIdentifier FileIdentifier::Enpty() {
    return {QString(), -1, startOf1970(), QString()};
}

bool FileIdentifier::isEmpty() const {
    return md5.isNull() && size == -1 && modifiedTime == startOf1970();
}

bool FileIdentifier::match(const FileIdentifier &other) const {
    if (md5.isEmpty() != other.md5.isEmpty())
        return false;
    if (!md5.isEmpty())
        return md5 == other.md5;
    const bool sameTag = etag.isEmpty() || other.etag.isEmpty() || etag == other.etag;
    return sameTag && size == other.size && modifiedTime == other.modifiedTime;
}

bool FileIdentifier::hasModifiedTime() const {
    return modifiedTime.isValid() && modifiedTime != startOf1970();
}

QString FileIdentifier::printstring() const {
    if (!md5.isEmpty())
        return QStringLiteral("MD5: ") + md5;
    return QStringLiteral("Size: %1 LastWriteTime: %2")
        .arg(size)
        .arg(modifiedTime.toString(Qt::ISODate));
}
