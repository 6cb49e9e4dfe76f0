#pragma once

#include <condition_variable>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "FuseMemoryVolume.h"
#include "platform/fuse/GMUserFileSystem.h"

using Notification = GMUserFileSystem::Notification;

// Awaits a condition; false after ten seconds.
inline bool await(const std::function<bool()> &condition) {
    using namespace std::chrono;
    const auto end = steady_clock::now() + seconds(10);
    while (!condition()) {
        if (steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(milliseconds(5));
    }
    return true;
}

// The errno of a system call's result, 0 for success.
template <typename Result>
int failureOf(Result result) {
    return result == Result(-1) ? errno : 0;
}

struct CommandResult {
    int code = -1;
    QByteArray output;
};

// Runs a shell's command line. Not by QProcess: its way of forking blinds the thread sanitizer.
inline CommandResult runCommand(const QString &line) {
    CommandResult result;
    FILE *pipe = ::popen(QString(line + QStringLiteral(" 2>&1")).toUtf8().constData(), "re");
    if (!pipe)
        return result;
    QFile output;
    if (output.open(pipe, QIODevice::ReadOnly))
        result.output = output.readAll();
    const int status = ::pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// A path for a system call.
class SystemPath {
  public:
    explicit SystemPath(const QString &path) : bytes(path.toUtf8()) {}
    SystemPath(QByteArray bytes) : bytes(std::move(bytes)) {}
    operator const char *() const { return bytes.constData(); }
    SystemPath operator+(const char *more) const { return bytes + more; }

  private:
    QByteArray bytes;
};

// Hosts a volume below a temporary folder; whatever the test did, nothing stays mounted.
template <typename Volume>
class FuseMountFixture : public testing::Test {
  protected:
    struct Event {
        Notification notification;
        std::optional<Error> error;
    };

    void SetUp() override {
        ASSERT_TRUE(folder.isValid());
        subscription = GMUserFileSystem::subscribe([this](Notification notification,
                                                          const GMUserFileSystem *sender,
                                                          const std::optional<Error> &error) {
            if (!sender->serves(volume.get()))
                return;
            const std::lock_guard guard(mutex);
            events.push_back({notification, error});
            changed.notify_all();
        });
    }

    void TearDown() override {
        host.reset();
        GMUserFileSystem::unsubscribe(subscription);
        while (::umount2(SystemPath(root), MNT_DETACH) == 0) {
        }
    }

    void start(const QStringList &options = usualOptions()) {
        host = std::make_unique<GMUserFileSystem>(volume, false);
        host->mountAtPath(root, options, true, true);
    }

    void mount(const QStringList &options = usualOptions()) {
        start(options);
        ASSERT_EQ(awaitEvent(0), Notification::kGMUserFileSystemDidMount) << output(0);
    }

    // What the n-th notification was.
    std::optional<Notification> awaitEvent(size_t n) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(10), [&] { return events.size() > n; });
        return events.size() > n ? std::optional(events[n].notification) : std::nullopt;
    }

    std::optional<Error> eventError(size_t n) {
        const std::lock_guard guard(mutex);
        return n < events.size() ? events[n].error : std::nullopt;
    }

    std::string output(size_t n) {
        const std::optional<Error> error = eventError(n);
        return error ? error->userInfo.value(QStringLiteral("OUTPUT")).toString().toStdString()
                     : std::string();
    }

    static QStringList usualOptions() {
        return {QStringLiteral("entry_timeout=0.05"), QStringLiteral("negative_timeout=1.0"),
                QStringLiteral("attr_timeout=0.05"),  QStringLiteral("ac_attr_timeout=0.05"),
                QStringLiteral("fsname=A, \\B"),      QStringLiteral("noreadahead")};
    }

    SystemPath at(const QString &path) const { return SystemPath(root + path); }

    // A file's bytes, or nothing with errno.
    std::optional<QByteArray> contentAt(const QString &path) const {
        QFile file(root + path);
        if (!file.open(QIODevice::ReadOnly))
            return std::nullopt;
        return file.readAll();
    }

    int statusError(const QString &path) const {
        struct stat status {};
        return failureOf(::stat(at(path), &status));
    }

    struct stat statusOf(const QString &path) const {
        struct stat status {};
        EXPECT_EQ(::stat(at(path), &status), 0) << path.toStdString();
        return status;
    }

    int openFile(const QString &path, int flags, mode_t mode = 0644) const {
        return ::open(at(path), flags, mode);
    }

    QTemporaryDir folder;
    QString root = folder.filePath(QStringLiteral("disk"));
    std::shared_ptr<Volume> volume = std::make_shared<Volume>();
    std::unique_ptr<GMUserFileSystem> host;

  private:
    int subscription = 0;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;
};
