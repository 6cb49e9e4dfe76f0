#include "platform/system/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

namespace {

constexpr int kBeatMs = 5;

}  // namespace

FileLock::~FileLock() {
    if (descriptor >= 0)
        ::close(descriptor);
}

int FileLock::take(int waitMs) {
    descriptor = ::open(QFile::encodeName(path).constData(),
                        O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return errno;
    const QDeadlineTimer limit(waitMs);
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return errno;
        if (limit.hasExpired())
            return EBUSY;
        QThread::msleep(kBeatMs);
    }
    return 0;
}
