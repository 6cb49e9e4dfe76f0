#include "FuseMountFixture.h"

using namespace std::chrono_literals;

class GMUserFileSystemUnmount : public FuseMountFixture<FuseWritableVolume> {
  protected:
    bool unmountFromOutside(bool lazily = false) {
        return runCommand((lazily ? "fusermount3 -u -z " : "fusermount3 -u ") + root).code == 0;
    }

    const QString path = "/file";
};

// No way of unmounting loses a file whose release takes long and is still queued.
TEST_F(GMUserFileSystemUnmount, everyWayHandsOverQueuedReleases) {
    const struct {
        const char *name;
        std::function<bool()> unmount;
    } ways[] = {
        {"forced", [&] { return host->unmount(UnmountMode::kForce); }},
        {"plain", [&] { return host->unmount(UnmountMode::kPlain); }},
        {"outside", [&] { return unmountFromOutside(); }},
        {"outside, lazily", [&] { return unmountFromOutside(true); }},
        {"end of the host",
         [&] {
             host.reset();
             return true;
         }},
    };
    for (const auto &way : ways) {
        SCOPED_TRACE(way.name);
        volume = std::make_shared<FuseWritableVolume>();
        mount();
        volume->releaseTime = 100ms;
        const QStringList paths{"/1", "/2", "/3", "/4"};
        std::vector<int> files;
        for (const QString &each : paths) {
            files.push_back(openFile(each, O_CREAT | O_WRONLY));
            ASSERT_EQ(::write(files.back(), "bytes", 5), 5);
        }
        for (const int file : files)
            ::close(file);
        // A file can count as busy for the moment it takes the kernel to close it.
        EXPECT_TRUE(await(way.unmount));
        expectUnmounted();
        for (const QString &each : paths) {
            EXPECT_EQ(volume->callCount("release " + each), 1);
            EXPECT_EQ(volume->content(each), "bytes");
        }
        EXPECT_EQ(volume->callCount("willUnmount"), 1);
        host.reset();
    }
}

TEST_F(GMUserFileSystemUnmount, forcedReleasesOpenFiles) {
    mount();
    const int open = openFile(path, O_CREAT | O_RDWR);
    ASSERT_EQ(::write(open, "bytes", 5), 5);
    const int removed = openFile("/removed", O_CREAT | O_RDWR);
    ASSERT_EQ(::unlink(at("/removed")), 0);

    EXPECT_TRUE(host->unmount(UnmountMode::kForce));
    expectUnmounted();
    EXPECT_EQ(volume->content(path), "bytes");
    EXPECT_EQ(volume->contentsOfDirectoryAtPath("/", nullptr), QStringList("file"));
    EXPECT_EQ(failureOf(::write(open, "x", 1)), ENOTCONN);
    ::close(open);
    ::close(removed);
}

TEST_F(GMUserFileSystemUnmount, lazilyDetachedServesItsOpenFilesAndLeavesALaterMountAlone) {
    for (const bool closesFile : {true, false}) {
        mount();
        const int file = openFile(path, O_CREAT | O_TRUNC | O_RDWR);
        ASSERT_TRUE(unmountFromOutside(true));
        EXPECT_EQ(::write(file, "bytes", 5), 5);
        EXPECT_TRUE(host->isMounted());

        auto later = std::make_shared<FuseMemoryVolume>();
        later->addFile("/later", "later");
        GMUserFileSystem laterHost(later, false);
        laterHost.mountAtPath(root, {}, true, true);
        ASSERT_TRUE(await([&] { return laterHost.isMounted(); }));
        if (closesFile) {
            ::close(file);
        } else {
            EXPECT_TRUE(host->unmount());
        }
        expectUnmounted();
        EXPECT_EQ(volume->content(path), "bytes");
        EXPECT_EQ(contentAt("/later"), "later");
        if (!closesFile)
            ::close(file);
    }
}

TEST_F(GMUserFileSystemUnmount, doesNotWaitForAnOperationUnderWay) {
    for (const UnmountMode mode : {UnmountMode::kForce, UnmountMode::kPlain}) {
        volume = std::make_shared<FuseWritableVolume>();
        volume->addFile(path, "bytes");
        mount();
        volume->releaseTime = 1s;
        ::close(openFile(path, O_RDONLY));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(await([&] { return host->unmount(mode); }));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
        expectUnmounted();
        EXPECT_EQ(volume->callCount("release /file"), 1);
        host.reset();
    }
}

// As an operation may run its thread's event loop, and a timer of that loop ask for the end. The
// request itself keeps the volume in use.
TEST_F(GMUserFileSystemUnmount, mayBeAskedForInsideAnOperation) {
    std::atomic<int> plain = -1;
    std::atomic<int> forced = -1;
    volume->inAttributes = [&](const QString &asked) {
        if (asked != path)
            return;
        plain = host->unmount(UnmountMode::kPlain);
        forced = host->unmount(UnmountMode::kForce);
    };
    mount();
    statusError(path);
    expectUnmounted();
    EXPECT_EQ(plain, 0);
    EXPECT_EQ(forced, 1);
}

TEST_F(GMUserFileSystemUnmount, anObserverMayDropTheHost) {
    mount();
    std::atomic<bool> dropped = false;
    // Told after the one that drops the host.
    std::atomic<bool> toldLater = false;
    const int first = GMUserFileSystem::subscribe(
        [&](Notification, const GMUserFileSystem *, const std::optional<Error> &) {
            host.reset();
            dropped = true;
        });
    const int second = GMUserFileSystem::subscribe(
        [&](Notification, const GMUserFileSystem *sender, const std::optional<Error> &) {
            toldLater = sender->serves(volume.get());
        });
    ASSERT_TRUE(unmountFromOutside());
    EXPECT_TRUE(await([&] { return dropped && toldLater; }));
    GMUserFileSystem::unsubscribe(first);
    GMUserFileSystem::unsubscribe(second);
}
