#include "platform/system/DeadMounts.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mntent.h>
#include <sys/mount.h>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>

#include <QByteArrayList>
#include <QFile>
#include <QProcess>

#include "platform/fuse/KernelMount.h"

namespace DeadMounts {

namespace {

constexpr std::chrono::seconds kAnswerLimit(1);

bool isOfThisUser(const mntent &entry) {
    return entry.mnt_type == KernelMount::kType &&
           QByteArray(entry.mnt_opts)
               .split(',')
               .contains("user_id=" + QByteArray::number(getuid()));
}

// Asks on a thread of its own, since a living volume whose server is away doesn't answer.
bool isDead(const QByteArray &mountPoint) {
    auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> dead = answer->get_future();
    std::thread([answer, mountPoint] {
        struct statfs status;
        answer->set_value(statfs(mountPoint.constData(), &status) != 0 && errno == ENOTCONN);
    }).detach();
    return dead.wait_for(kAnswerLimit) == std::future_status::ready && dead.get();
}

// As the mount table tells it. Asks nothing of the volume itself.
QByteArray resolved(const QString &mountPoint) {
    const QByteArray path = QFile::encodeName(mountPoint);
    const std::unique_ptr<char, decltype(&std::free)> place(::realpath(path.constData(), nullptr),
                                                            &std::free);
    return place ? QByteArray(place.get()) : path;
}

}  // namespace

QStringList find(const QStringList &alive) {
    QByteArrayList spared;
    for (const QString &mountPoint : alive)
        spared += resolved(mountPoint);
    const std::unique_ptr<FILE, int (*)(FILE *)> table(setmntent("/proc/self/mounts", "re"),
                                                       endmntent);
    if (!table)
        return {};
    QStringList result;
    mntent entry;
    char buffer[8192];
    while (getmntent_r(table.get(), &entry, buffer, sizeof buffer)) {
        if (isOfThisUser(entry) && !spared.contains(entry.mnt_dir) && isDead(entry.mnt_dir))
            result += QFile::decodeName(entry.mnt_dir);
    }
    return result;
}

bool clear(const QString &mountPoint) {
    if (umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0)
        return true;
    return QProcess::execute(
               QStringLiteral("fusermount3"),
               {QStringLiteral("-u"), QStringLiteral("-z"), QStringLiteral("--"), mountPoint}) == 0;
}

}  // namespace DeadMounts
