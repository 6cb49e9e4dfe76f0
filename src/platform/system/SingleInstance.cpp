#include "platform/system/SingleInstance.h"

#include <cerrno>
#include <fcntl.h>
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

SingleInstance::Outcome SingleInstance::take() {
    if (!makeFolder())
        return Outcome::Failed;
    lock.emplace(folder() + QStringLiteral("/lock"));
    const int reason = lock->take(0);
    if (reason == 0)
        return Outcome::Taken;
    lock.reset();
    errno = reason;
    return reason == EBUSY ? Outcome::HeldByAnother : Outcome::Failed;
}

void SingleInstance::release() {
    lock.reset();
}
