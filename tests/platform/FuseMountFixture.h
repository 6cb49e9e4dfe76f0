#pragma once

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "FuseMemoryVolume.h"
#include "platform/fuse/GMUserFileSystem.h"

using Notification = GMUserFileSystem::Notification;
using UnmountMode = GMUserFileSystem::UnmountMode;

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
    FILE *pipe = ::popen((line + " 2>&1").toUtf8().constData(), "re");
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
    explicit SystemPath(const QString &path) : bytes(path.toStdString()) {}
    operator const char *() const { return bytes.c_str(); }

  private:
    std::string bytes;
};

// Hosts a volume below a temporary folder; whatever the test did, nothing stays mounted.
template <typename Volume>
class FuseMountFixture : public testing::Test {
  protected:
    struct Event {
        std::optional<Notification> notification;
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
        const Event event = nextEvent();
        ASSERT_EQ(event.notification, Notification::kGMUserFileSystemDidMount) << outputOf(event);
    }
    static QStringList usualOptions() {
        return {"entry_timeout=0.05",   "negative_timeout=1.0", "attr_timeout=0.05",
                "ac_attr_timeout=0.05", "fsname=A, \\B",        "noreadahead"};
    }
    // The kernel asks for nothing again.
    static QStringList lastingOptions() { return {"attr_timeout=60", "entry_timeout=60"}; }

    // The next notification, empty when none comes.
    Event nextEvent() {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, std::chrono::seconds(10), [&] { return !events.empty(); }))
            return {};
        Event event = events.front();
        events.pop_front();
        return event;
    }
    void expectUnmounted() {
        EXPECT_EQ(nextEvent().notification, Notification::kGMUserFileSystemDidUnmount);
    }
    void expectFailure(int code, const char *text) {
        const Event event = nextEvent();
        ASSERT_EQ(event.notification, Notification::kGMUserFileSystemMountFailed);
        EXPECT_EQ(event.error->code, code);
        EXPECT_THAT(outputOf(event), testing::HasSubstr(text));
        host->waitUntilEnded();
        EXPECT_FALSE(host->isMounted());
    }
    static std::string outputOf(const Event &event) {
        return event.error ? event.error->userInfo.value("OUTPUT").toString().toStdString() : "";
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
    int openFile(const QString &path, int flags) const { return ::open(at(path), flags, 0644); }
    bool awaitContent(const QString &path, const QByteArray &content) const {
        return await([&] { return volume->content(path) == content; });
    }
    bool awaitReleases(const QString &path) const {
        return await([&] {
            return volume->callCount("open " + path) == volume->callCount("release " + path);
        });
    }

    QTemporaryDir folder;
    QString root = folder.filePath("disk");
    std::shared_ptr<Volume> volume = std::make_shared<Volume>();
    std::unique_ptr<GMUserFileSystem> host;

  private:
    int subscription = 0;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Event> events;
};
