#include "platform/system/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

namespace {

constexpr int kBeatMs = 5;

}  // namespace

FileLock::~FileLock() {
    close();
}

int FileLock::take(int waitMs) {
    const QDeadlineTimer limit(waitMs);
    while (true) {
        descriptor = ::open(QFile::encodeName(path).constData(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (descriptor < 0)
            return errno;
        const int failure = takeOpened(limit);
        if (failure == 0 && isFileOfThatName())
            return 0;
        close();
        if (failure != 0)
            return failure;
    }
}

int FileLock::takeOpened(const QDeadlineTimer &limit) {
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return errno;
        if (limit.hasExpired())
            return EBUSY;
        QThread::msleep(kBeatMs);
    }
    return 0;
}

// Its last holder may have deleted the file between the opening and the lock: two could then hold
// locks on two files of one name.
bool FileLock::isFileOfThatName() const {
    struct stat held, named;
    return ::fstat(descriptor, &held) == 0 &&
           ::lstat(QFile::encodeName(path).constData(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

void FileLock::removeFile() {
    if (descriptor < 0)
        return;
    ::unlink(QFile::encodeName(path).constData());
    close();
}

void FileLock::close() {
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}
