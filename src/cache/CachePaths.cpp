#include "cache/CachePaths.h"

#include <QDir>
#include <QFileInfo>

QStringList atOrBelow(const QStringList &keys, const QString &path) {
    const QString below = path + QLatin1Char('/');
    QStringList matching;
    for (const QString &key : keys) {
        if (key == path || key.startsWith(below))
            matching.append(key);
    }
    return matching;
}

bool makePrivateFolder(const QString &path) {
    if (QFileInfo(path).isDir())
        return true;
    const QString parent = QFileInfo(path).path();
    if (parent != path && !makePrivateFolder(parent))
        return false;
    constexpr auto kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    return QDir().mkdir(path, kOwnerOnly);
}
