#include "FuseMountFixture.h"

using namespace std::chrono_literals;

class GMUserFileSystemUnmount : public FuseMountFixture<FuseWritableVolume> {
  protected:
    static constexpr int kFiles = 4;

    static QString pathOf(int n) { return QStringLiteral("/file%1").arg(n); }

    // Files whose releases take long and are still queued when this returns.
    void closeFilesThatReleaseSlowly() {
        volume->releaseTime = 100ms;
        std::vector<int> files;
        for (int i = 0; i < kFiles; ++i) {
            files.push_back(openFile(pathOf(i), O_CREAT | O_WRONLY));
            ASSERT_EQ(::write(files.back(), "bytes", 5), 5);
        }
        for (const int file : files)
            ::close(file);
    }

    void expectAllReleasedBeforeTheEnd() {
        ASSERT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
        for (int i = 0; i < kFiles; ++i) {
            EXPECT_EQ(volume->callCount(QStringLiteral("release ") + pathOf(i)), 1);
            EXPECT_EQ(volume->content(pathOf(i)), "bytes");
        }
        EXPECT_EQ(volume->callCount(QStringLiteral("willUnmount")), 1);
        if (!host)
            return;
        host->waitUntilEnded();
        EXPECT_FALSE(host->isMounted());
    }

    int unmountByHelper() { return runCommand(QStringLiteral("fusermount3 -u ") + root).code; }

    // As any user may: umount(8) as root, fusermount3 otherwise.
    int unmountFromOutside(bool lazily = false) {
        const bool isRoot = ::geteuid() == 0;
        const QString program =
            isRoot ? QStringLiteral("umount ") : QStringLiteral("fusermount3 -u ");
        const QString option = isRoot ? QStringLiteral("-l ") : QStringLiteral("-z ");
        return runCommand(program + (lazily ? option : QString()) + root).code;
    }
};

class AskingVolume : public FuseMemoryVolume {
  public:
    std::shared_ptr<AttributeMap> attributesOfItemAtPath(const QString &path,
                                                         const HandlePtr &userData,
                                                         ErrorOut error) override {
        if (path == u"/file")
            inAttributes();
        return FuseMemoryVolume::attributesOfItemAtPath(path, userData, error);
    }

    std::function<void()> inAttributes;
};

class GMUserFileSystemUnmountWays : public GMUserFileSystemUnmount,
                                    public testing::WithParamInterface<const char *> {
  protected:
    bool unmountBy(const std::string &way) {
        if (way == "forced")
            return host->unmount(GMUserFileSystem::UnmountMode::kForce);
        if (way == "plain")
            return host->unmount(GMUserFileSystem::UnmountMode::kPlain);
        if (way == "outside")
            return unmountFromOutside() == 0;
        if (way == "outsideLazily")
            return unmountFromOutside(true) == 0;
        if (way == "helper")
            return unmountByHelper() == 0;
        host.reset();
        return true;
    }
};

TEST_P(GMUserFileSystemUnmountWays, handOverQueuedReleases) {
    mount();
    closeFilesThatReleaseSlowly();
    // A file can count as busy for the moment it takes the kernel to close it.
    EXPECT_TRUE(await([&] { return unmountBy(GetParam()); }));
    expectAllReleasedBeforeTheEnd();
}

INSTANTIATE_TEST_SUITE_P(All, GMUserFileSystemUnmountWays,
                         testing::Values("forced", "plain", "outside", "outsideLazily", "helper",
                                         "endOfTheHost"),
                         [](const auto &info) { return std::string(info.param); });

TEST_F(GMUserFileSystemUnmount, forcedReleasesOpenFiles) {
    mount();
    const int open = openFile(QStringLiteral("/open"), O_CREAT | O_RDWR);
    ASSERT_EQ(::write(open, "bytes", 5), 5);
    const int removed = openFile(QStringLiteral("/removed"), O_CREAT | O_RDWR);
    ASSERT_EQ(::unlink(at(QStringLiteral("/removed"))), 0);

    EXPECT_TRUE(host->unmount(GMUserFileSystem::UnmountMode::kForce));
    EXPECT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
    EXPECT_EQ(volume->content(QStringLiteral("/open")), "bytes");
    EXPECT_EQ(volume->contentsOfDirectoryAtPath(QStringLiteral("/"), nullptr),
              QStringList{QStringLiteral("open")});
    EXPECT_EQ(failureOf(::write(open, "x", 1)), ENOTCONN);
    ::close(open);
    ::close(removed);
}

TEST_F(GMUserFileSystemUnmount, plainIsRefusedWhileInUse) {
    volume->addFile(QStringLiteral("/file"), "bytes");
    mount();
    const int file = openFile(QStringLiteral("/file"), O_RDONLY);
    std::optional<Error> error;
    EXPECT_FALSE(host->unmount(GMUserFileSystem::UnmountMode::kPlain, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, EBUSY);
    EXPECT_TRUE(host->isMounted());
    EXPECT_EQ(contentAt(QStringLiteral("/file")), "bytes");
    EXPECT_EQ(volume->callCount(QStringLiteral("willUnmount")), 0);
    ::close(file);
    EXPECT_TRUE(await([&] { return host->unmount(GMUserFileSystem::UnmountMode::kPlain); }));
    EXPECT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
}

TEST_F(GMUserFileSystemUnmount, servesALazilyDetachedVolumeUntilItsLastFileIsClosed) {
    mount();
    const int file = openFile(QStringLiteral("/file"), O_CREAT | O_RDWR);
    ASSERT_EQ(unmountFromOutside(true), 0);
    EXPECT_EQ(::write(file, "bytes", 5), 5);
    EXPECT_TRUE(host->isMounted());
    ::close(file);
    EXPECT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
    EXPECT_EQ(volume->content(QStringLiteral("/file")), "bytes");
}

TEST_F(GMUserFileSystemUnmount, leavesALaterMountOfTheSameFolderAlone) {
    mount();
    const int file = openFile(QStringLiteral("/file"), O_CREAT | O_RDWR);
    ASSERT_EQ(unmountFromOutside(true), 0);

    auto later = std::make_shared<FuseMemoryVolume>();
    later->addFile(QStringLiteral("/later"), "later");
    GMUserFileSystem laterHost(later, false);
    laterHost.mountAtPath(root, {}, true, true);
    ASSERT_TRUE(await([&] { return laterHost.isMounted(); }));
    EXPECT_TRUE(host->unmount());
    EXPECT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
    EXPECT_EQ(contentAt(QStringLiteral("/later")), "later");
    ::close(file);
}

TEST_F(GMUserFileSystemUnmount, doesNotWaitForAnOperationUnderWay) {
    size_t event = 0;
    for (const auto mode :
         {GMUserFileSystem::UnmountMode::kForce, GMUserFileSystem::UnmountMode::kPlain}) {
        volume->addFile(QStringLiteral("/file"), "bytes");
        volume->forgetCalls();
        start();
        ASSERT_EQ(awaitEvent(event++), Notification::kGMUserFileSystemDidMount);
        volume->releaseTime = 1s;
        ::close(openFile(QStringLiteral("/file"), O_RDONLY));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(await([&] { return host->unmount(mode); }));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
        EXPECT_EQ(awaitEvent(event++), Notification::kGMUserFileSystemDidUnmount);
        EXPECT_EQ(volume->callCount(QStringLiteral("release /file")), 1);
    }
}

// As an operation may run its thread's event loop, and a timer of that loop ask for the end. The
// request itself keeps the volume in use.
TEST_F(GMUserFileSystemUnmount, mayBeAskedForInsideAnOperation) {
    auto asking = std::make_shared<AskingVolume>();
    GMUserFileSystem asked(asking, false);
    std::atomic<int> plain = -1;
    std::atomic<int> forced = -1;
    asking->inAttributes = [&] {
        plain = asked.unmount(GMUserFileSystem::UnmountMode::kPlain);
        forced = asked.unmount(GMUserFileSystem::UnmountMode::kForce);
    };
    asked.mountAtPath(root, {}, true, true);
    ASSERT_TRUE(await([&] { return asked.isMounted(); }));
    statusError(QStringLiteral("/file"));
    EXPECT_TRUE(await([&] { return !asked.isMounted(); }));
    EXPECT_EQ(plain, 0);
    EXPECT_EQ(forced, 1);
}

TEST_F(GMUserFileSystemUnmount, anObserverMayDropTheHost) {
    mount();
    std::atomic<bool> dropped = false;
    const int subscription = GMUserFileSystem::subscribe(
        [&](Notification, const GMUserFileSystem *sender, const std::optional<Error> &) {
            if (!sender->serves(volume.get()))
                return;
            host.reset();
            dropped = true;
        });
    // Told after the one that drops the host.
    std::atomic<bool> toldLater = false;
    const int later = GMUserFileSystem::subscribe(
        [&](Notification, const GMUserFileSystem *sender, const std::optional<Error> &) {
            toldLater = sender->serves(volume.get());
        });
    ASSERT_EQ(unmountFromOutside(), 0);
    EXPECT_TRUE(await([&] { return dropped && toldLater; }));
    GMUserFileSystem::unsubscribe(subscription);
    GMUserFileSystem::unsubscribe(later);
}
