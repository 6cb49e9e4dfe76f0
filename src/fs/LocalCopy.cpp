#include "fs/LocalCopy.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <QFile>
#include <QFileInfo>

#include "cache/CachePaths.h"
#include "cache/UnsentFiles.h"

namespace {

bool isSameFile(int node, const QString &localPath) {
    struct stat open {};
    struct stat named {};
    return ::fstat(node, &open) == 0 && ::stat(localPath.toUtf8().constData(), &named) == 0 &&
           open.st_ino == named.st_ino && open.st_dev == named.st_dev;
}

}  // namespace

int LocalCopy::openForWriting(const QString &localPath) {
    return ::open(localPath.toUtf8().constData(), O_RDWR | O_CLOEXEC);
}

int LocalCopy::make(const QString &localPath) {
    struct stat status {};
    if (::stat(localPath.toUtf8().constData(), &status) == 0)
        return 0;
    makeFolderOf(localPath);
    const int node = ::open(localPath.toUtf8().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (node < 0)
        return errno;
    ::close(node);
    return 0;
}

void LocalCopy::makeFolderOf(const QString &localPath) {
    const QString folder = QFileInfo(localPath).path();
    QString nearest = folder;
    while (!QFileInfo::exists(nearest))
        nearest = QFileInfo(nearest).path();
    if (!QFileInfo(nearest).isDir() && !UnsentFiles::isMarked(nearest))
        QFile::remove(nearest);
    makePrivateFolder(folder);
}

int LocalCopy::writeAll(int node, const char *bytes, qint64 count, qint64 offset) {
    while (count > 0) {
        const ssize_t written = ::pwrite(node, bytes, static_cast<size_t>(count), offset);
        if (written < 0)
            return errno;
        bytes += written;
        offset += written;
        count -= written;
    }
    return 0;
}

QString LocalCopy::readablePath(int node, const QString &localPath) {
    if (node < 0 || isSameFile(node, localPath))
        return localPath;
    return QStringLiteral("/proc/self/fd/%1").arg(node);
}

int LocalCopy::restore(int node, const QString &localPath) {
    if (node < 0 || isSameFile(node, localPath))
        return 0;
    QFile::remove(localPath);
    if (const int code = make(localPath))
        return code;
    const int target = openForWriting(localPath);
    if (target < 0)
        return errno;
    UnsentFiles::mark(target);
    std::vector<char> buffer(1 << 16);
    int code = 0;
    ssize_t count = 0;
    for (qint64 offset = 0;
         code == 0 && (count = ::pread(node, buffer.data(), buffer.size(), offset)) > 0;
         offset += count)
        code = writeAll(target, buffer.data(), count, offset);
    ::close(target);
    return count < 0 ? EIO : code;
}
