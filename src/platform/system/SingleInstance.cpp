#include "platform/system/SingleInstance.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

QString SingleInstance::folder() {
    return QDir::homePath() + QStringLiteral("/.local/state/velmoradisk");
}

QString SingleInstance::socketPath() {
    return folder() + QStringLiteral("/control");
}

bool SingleInstance::makeFolder() {
    const QByteArray name = QFile::encodeName(folder());
    if (!QDir().mkpath(QFileInfo(folder()).path()) ||
        (mkdir(name.constData(), 0700) != 0 && errno != EEXIST))
        return false;
    const int fd = open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat status;
    const bool isOurs = fstat(fd, &status) == 0 && status.st_uid == geteuid();
    const bool isPrivate = isOurs && fchmod(fd, 0700) == 0;
    close(fd);
    if (!isOurs)
        errno = EPERM;
    return isPrivate;
}

SingleInstance::~SingleInstance() {
    release();
}

SingleInstance::Outcome SingleInstance::take() {
    if (!makeFolder())
        return Outcome::Failed;
    const QByteArray path = QFile::encodeName(folder() + QStringLiteral("/lock"));
    // The file stays for good: removing it would let two hold locks on two files of one name.
    lockFile = open(path.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (lockFile < 0)
        return Outcome::Failed;
    if (flock(lockFile, LOCK_EX | LOCK_NB) == 0)
        return Outcome::Taken;
    const int reason = errno;
    release();
    errno = reason;
    return reason == EWOULDBLOCK ? Outcome::HeldByAnother : Outcome::Failed;
}

void SingleInstance::release() {
    if (lockFile >= 0)
        close(lockFile);
    lockFile = -1;
}
