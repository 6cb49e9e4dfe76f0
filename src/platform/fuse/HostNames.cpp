#include "platform/fuse/HostNames.h"

#include <cerrno>
#include <cstring>

#include <QCryptographicHash>
#include <QStringDecoder>

int pathFromKernel(const char *kernelPath, QString *path) {
    const char *lastSlash = std::strrchr(kernelPath, '/');
    if (lastSlash && qsizetype(std::strlen(lastSlash + 1)) > kLongestName)
        return ENAMETOOLONG;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(kernelPath);
    if (decoder.hasError())
        return EILSEQ;
    *path = text.normalized(QString::NormalizationForm_C);
    return 0;
}

std::optional<QByteArray> nameForKernel(const QString &name) {
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        name.contains(u'/') || name.contains(QChar::Null) || !name.isValidUtf16())
        return std::nullopt;
    const QByteArray bytes = name.normalized(QString::NormalizationForm_C).toUtf8();
    if (bytes.size() > kLongestName)
        return std::nullopt;
    return bytes;
}

QString childPath(const QString &folder, const QString &name) {
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

ino_t inodeNumber(const QString &path) {
    constexpr ino_t kRootInode = 1;
    if (path == QLatin1String("/"))
        return kRootInode;
    const QByteArray digest = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1);
    ino_t number = 0;
    std::memcpy(&number, digest.constData(), sizeof number);
    return number > kRootInode ? number : kRootInode + 1;
}
