#include "common/LocalFileDates.h"

#include <sys/xattr.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr const char *kCreationAttribute = "user.velmora.creationdate";

QDateTime creationAttribute(const QString &path) {
    char text[40];
    const ssize_t length =
        ::getxattr(QFile::encodeName(path).constData(), kCreationAttribute, text, sizeof text);
    if (length <= 0)
        return {};
    return QDateTime::fromString(QString::fromLatin1(text, length), Qt::ISODateWithMs);
}

}  // namespace

LocalFileDates LocalFileDates::of(const QString &path) {
    const QFileInfo info(path);
    const QDateTime carried = creationAttribute(path);
    return {carried.isValid() ? carried : info.birthTime(), info.lastModified()};
}

void LocalFileDates::applyTo(const QString &path) const {
    if (creation.isValid()) {
        const QByteArray text = creation.toUTC().toString(Qt::ISODateWithMs).toLatin1();
        ::setxattr(QFile::encodeName(path).constData(), kCreationAttribute, text.constData(),
                   text.size(), 0);
    }
    QFile file(path);
    if (modification.isValid() && file.open(QIODevice::ReadWrite))
        file.setFileTime(modification, QFileDevice::FileModificationTime);
}
