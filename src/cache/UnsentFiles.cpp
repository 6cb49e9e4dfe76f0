#include "cache/UnsentFiles.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include "cache/CachePaths.h"
#include "common/LocalFileDates.h"

namespace {

// The sticky bit means nothing on a regular file, and no program sets it.
constexpr mode_t kMark = S_ISVTX;
constexpr qsizetype kLongestName = 255;  // bytes
constexpr qint64 kCopyPiece = 1 << 20;   // bytes

std::optional<struct stat> regularFile(const QString &path) {
    struct stat status;
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return status;
}

void setMode(const QString &path, mode_t mode) {
    ::chmod(QFile::encodeName(path).constData(), mode & 07777);
}

// "report.txt", "report 2.txt", "report 3.txt"; none longer than a file system takes.
QString numbered(const QString &name, int number) {
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    QString stem = dot > 0 ? name.left(dot) : name;
    const QString count = number > 1 ? QStringLiteral(" %1").arg(number) : QString();
    const QString ending = count + name.mid(stem.size());
    while (stem.size() > 1 && QFile::encodeName(stem + ending).size() > kLongestName)
        stem.chop(stem.back().isLowSurrogate() ? 2 : 1);
    return stem + ending;
}

int renameWithoutReplacing(const QString &from, const QString &to) {
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) ==
        0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system that can't: a second name isn't given to what has it either.
    if (::link(source.constData(), target.constData()) != 0)
        return errno == EEXIST ? EEXIST : EXDEV;
    ::unlink(source.constData());
    return 0;
}

int copyBytes(QFile &source, QFile &target) {
    while (!source.atEnd()) {
        const QByteArray piece = source.read(kCopyPiece);
        if (piece.isEmpty() || target.write(piece) != piece.size())
            return EIO;
    }
    return target.flush() && ::fsync(target.handle()) == 0 ? 0 : EIO;
}

// The source goes once every byte of it lies safe.
int moveByCopy(const QString &from, const QString &to) {
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return EIO;
    QFile target(to);
    constexpr auto kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner;
    if (!target.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered, kOwnerOnly))
        return QFileInfo(to).isSymLink() || QFileInfo::exists(to) ? EEXIST : EIO;
    const int failure = copyBytes(source, target);
    target.close();
    if (failure != 0) {
        target.remove();
        return failure;
    }
    LocalFileDates::of(from).applyTo(to);
    source.remove();
    return 0;
}

int moveWithoutReplacing(const QString &from, const QString &to) {
    const int failure = renameWithoutReplacing(from, to);
    return failure == EXDEV ? moveByCopy(from, to) : failure;
}

std::optional<QString> moveInto(const QString &folder, const QString &localPath,
                                const QString &name) {
    for (int number = 1;; ++number) {
        const QString place = folder + QLatin1Char('/') + numbered(name, number);
        const int failure = moveWithoutReplacing(localPath, place);
        if (failure == 0)
            return place;
        if (failure != EEXIST)
            return std::nullopt;
    }
}

// The home; where that takes nothing, folders that no unmount deletes, the last of them on the
// copy's own file system, where a move needs no room. Never the home for a name as ".profile": what
// came from a server must not begin to run there.
QStringList foldersFor(const QString &localPath, const QString &name) {
    const QString saved = QStringLiteral("/.VelmoraDisk_Saved");
    QStringList folders{QDir::homePath() + saved};
    if (!name.startsWith(QLatin1Char('.')))
        folders.prepend(QDir::homePath());
    const QString prefix = QStringLiteral("/.VelmoraDisk_Store");
    const qsizetype start = localPath.indexOf(prefix);
    if (start < 0)
        return folders;
    const QString top = localPath.left(localPath.indexOf(QLatin1Char('/'), start + 1));
    return folders << QFileInfo(QFileInfo(top).canonicalFilePath()).path() + saved;
}

}  // namespace

void UnsentFiles::mark(int descriptor) {
    struct stat status;
    if (::fstat(descriptor, &status) == 0 && !(status.st_mode & kMark))
        ::fchmod(descriptor, (status.st_mode | kMark) & 07777);
}

void UnsentFiles::mark(const QString &localPath) {
    if (const auto status = regularFile(localPath))
        setMode(localPath, status->st_mode | kMark);
}

void UnsentFiles::clearMark(const QString &localPath) {
    const auto status = regularFile(localPath);
    if (status && status->st_mode & kMark)
        setMode(localPath, status->st_mode & ~kMark);
}

bool UnsentFiles::isMarked(const QString &localPath) {
    const auto status = regularFile(localPath);
    return status && status->st_mode & kMark;
}

std::optional<QString> UnsentFiles::saveAtHome(const QString &localPath, const QString &name) {
    const auto status = regularFile(localPath);
    if (!status)
        return std::nullopt;
    const QString composedName =
        QFileInfo(name).fileName().normalized(QString::NormalizationForm_C);
    const QStringList folders = foldersFor(localPath, composedName);
    for (const QString &folder : folders) {
        if (!makePrivateFolder(folder))
            continue;
        if (const auto place = moveInto(folder, localPath, composedName)) {
            // Not before: a copy must never lie in the store without its mark.
            setMode(*place, status->st_mode & ~kMark);
            return place;
        }
    }
    return std::nullopt;
}
