#include "platform/system/ServiceLauncher.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <QByteArray>
#include <QStringList>

namespace ServiceLauncher {

namespace {

constexpr int kAnswerFd = 3;
bool hasStarter = false;

std::vector<char *> pointers(QList<QByteArray> &texts) {
    std::vector<char *> result;
    for (QByteArray &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

Launch failure(int reason) {
    return {Answer::Failed, QString::fromLocal8Bit(strerror(reason))};
}

// Zero, or why it could not be started.
int spawnDetached(const QStringList &arguments, int answerEnd, pid_t *child) {
    QList<QByteArray> texts{QByteArrayLiteral("velmoradisk")};
    for (const QString &argument : arguments)
        texts += argument.toLocal8Bit();
    std::vector<char *> argv = pointers(texts);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, answerEnd, kAnswerFd);
    posix_spawn_file_actions_addclosefrom_np(&actions, kAnswerFd + 1);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);

    const int result =
        posix_spawn(child, "/proc/self/exe", &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return result;
}

QByteArray readToEnd(int fd) {
    QByteArray text;
    char buffer[512];
    ssize_t count;
    while ((count = read(fd, buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR))
        text.append(buffer, qMax<ssize_t>(count, 0));
    return text;
}

}  // namespace

Launch start(const QStringList &arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return failure(errno);
    // Not the number it gets over there: a descriptor copied onto itself stays closed at exec.
    const int answerEnd = fcntl(ends[1], F_DUPFD_CLOEXEC, kAnswerFd + 1);
    close(ends[1]);
    pid_t child = -1;
    const int result = answerEnd < 0 ? errno : spawnDetached(arguments, answerEnd, &child);
    if (answerEnd >= 0)
        close(answerEnd);
    const QByteArray answer = result == 0 ? readToEnd(ends[0]) : QByteArray();
    close(ends[0]);
    if (result != 0)
        return failure(result);
    if (answer == "ready")
        return {Answer::Ready, {}};
    waitpid(child, nullptr, 0);
    if (answer == "held")
        return {Answer::HeldByAnother, {}};
    return {Answer::Failed, QString::fromUtf8(answer)};
}

void tellStarter(Answer answer, const QString &reason) {
    const QByteArray text = answer == Answer::Ready           ? QByteArrayLiteral("ready")
                            : answer == Answer::HeldByAnother ? QByteArrayLiteral("held")
                                                              : reason.toUtf8();
    if (!std::exchange(hasStarter, false))
        return;
    [[maybe_unused]] const ssize_t written =
        write(kAnswerFd, text.constData(), size_t(text.size()));
    close(kAnswerFd);
}

void detach() {
    umask(077);
    // Without one it is a descriptor of somebody else's, or none.
    struct stat status;
    hasStarter = fstat(kAnswerFd, &status) == 0 && S_ISFIFO(status.st_mode);
    if (hasStarter)
        fcntl(kAnswerFd, F_SETFD, FD_CLOEXEC);
    if (chdir("/") != 0)
        qWarning("the root directory cannot be entered");
}

}  // namespace ServiceLauncher
