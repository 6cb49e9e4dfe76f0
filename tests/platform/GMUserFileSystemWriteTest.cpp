#include <sys/mman.h>

#include "FuseMountFixture.h"

class GMUserFileSystemWrite : public FuseMountFixture<FuseWritableVolume> {
  protected:
    void writeAll(const QString &to, int flags, const QByteArray &bytes) {
        const int file = openFile(to, flags);
        ASSERT_GE(file, 0) << std::strerror(errno);
        EXPECT_EQ(::write(file, bytes.constData(), size_t(bytes.size())), bytes.size());
        EXPECT_EQ(::close(file), 0);
    }

    const QString path = "/file";
};

TEST_F(GMUserFileSystemWrite, createAsksForTheNameBeforeAndMeetsWhatTheServerGotMeanwhile) {
    mount();
    writeAll(path, O_CREAT | O_EXCL | O_WRONLY, "content");
    EXPECT_TRUE(awaitContent(path, "content"));
    const QStringList calls = volume->calls();
    const qsizetype create = calls.indexOf("create /file");
    ASSERT_GT(create, 0);
    EXPECT_EQ(calls[create - 1], "attributes /file");
    EXPECT_EQ(statusOf(path).st_mode & 0700, 0600u);

    ASSERT_EQ(statusError("/theirs"), ENOENT);
    volume->addFile("/theirs", "theirs");
    EXPECT_EQ(failureOf(openFile("/theirs", O_CREAT | O_EXCL | O_WRONLY)), EEXIST);
    const int file = openFile("/theirs", O_CREAT | O_RDWR);
    char buffer[8] = {};
    EXPECT_EQ(::read(file, buffer, sizeof buffer), 6);
    EXPECT_STREQ(buffer, "theirs");
    ::close(file);
}

TEST_F(GMUserFileSystemWrite, everySizeChangeReachesTheServer) {
    const auto openAnd = [this](int flags, auto action) {
        const int file = openFile(path, flags);
        const bool succeeded = file >= 0 && action(file) == 0;
        return ::close(file) == 0 && succeeded;
    };
    const auto nothing = [](int) { return 0; };
    const struct {
        const char *what;
        std::function<bool()> change;
        QByteArray expected;
    } rows[] = {
        {"O_TRUNC alone", [&] { return openAnd(O_WRONLY | O_TRUNC, nothing); }, ""},
        {"O_TRUNC of a reader", [&] { return openAnd(O_RDONLY | O_TRUNC, nothing); }, ""},
        {"O_TRUNC and a write",
         [&] { return openAnd(O_WRONLY | O_TRUNC, [](int f) { return ::write(f, "ab", 2) - 2; }); },
         "ab"},
        {"truncate", [&] { return ::truncate(at(path), 3) == 0; }, "012"},
        {"truncate beyond the end", [&] { return ::truncate(at(path), 12) == 0; },
         QByteArray("0123456789\0\0", 12)},
        {"ftruncate", [&] { return openAnd(O_WRONLY, [](int f) { return ::ftruncate(f, 4); }); },
         "0123"},
    };
    mount();
    for (const auto &row : rows) {
        volume->addFile(path, "0123456789");
        EXPECT_TRUE(row.change()) << row.what << ": " << std::strerror(errno);
        EXPECT_TRUE(awaitContent(path, row.expected)) << row.what;
        EXPECT_TRUE(await([&] { return contentAt(path) == row.expected; })) << row.what;
        EXPECT_TRUE(awaitReleases(path)) << row.what;
    }
}

TEST_F(GMUserFileSystemWrite, writesAnywhereAndThroughMappings) {
    mount();
    for (const int append : {0, O_APPEND}) {
        const QString name = append ? "/appended" : "/file";
        volume->addFile(name, "0123456789");
        const int file = openFile(name, O_RDWR | append);
        auto *mapped =
            static_cast<char *>(::mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        ASSERT_NE(mapped, MAP_FAILED);
        mapped[0] = 'M';
        ::munmap(mapped, 10);
        EXPECT_EQ(::fsync(file), 0);
        EXPECT_EQ(volume->callCount("synchronize " + name), 1);
        EXPECT_EQ(::pwrite(file, "ab", 2, 4), 2);
        EXPECT_EQ(volume->content(name), "0123456789");
        ::close(file);
        EXPECT_TRUE(awaitContent(name, append ? "M123456789ab" : "M123ab6789"));
    }
}

TEST_F(GMUserFileSystemWrite, actsOnWhatTheServerHasThoughTheKernelKnewOtherwise) {
    volume->addFile(path, "one");
    volume->addFile("/target", "old");
    mount(lastingOptions());
    ASSERT_EQ(statusOf(path).st_size, 3);
    ASSERT_EQ(statusError("/target"), 0);

    volume->addFile(path, "one two");
    const int file = openFile(path, O_RDWR | O_APPEND);
    EXPECT_EQ(::write(file, " three", 6), 6);
    EXPECT_EQ(::write(file, " four", 5), 5);
    ::close(file);
    EXPECT_TRUE(awaitContent(path, "one two three four"));

    volume->addFolder("/target");
    volume->addFile("/target/theirs", "theirs");
    EXPECT_EQ(failureOf(::rename(at(path), at("/target"))), EISDIR);
    EXPECT_EQ(volume->content("/target/theirs"), "theirs");
}

TEST_F(GMUserFileSystemWrite, changesTheTree) {
    mount();
    const SystemPath a = at("/a");
    const SystemPath b = at("/b");
    ASSERT_EQ(::mkdir(a, 0755), 0);
    writeAll("/a/file", O_CREAT | O_WRONLY, "bytes");
    // Removing or replacing a folder must never take content along.
    EXPECT_EQ(failureOf(::rmdir(a)), ENOTEMPTY);
    ASSERT_EQ(::mkdir(b, 0755), 0);
    EXPECT_EQ(failureOf(::rename(b, a)), ENOTEMPTY);
    EXPECT_EQ(failureOf(::renameat2(AT_FDCWD, a, AT_FDCWD, b, RENAME_NOREPLACE)), EEXIST);
    EXPECT_EQ(failureOf(::renameat2(AT_FDCWD, a, AT_FDCWD, b, RENAME_EXCHANGE)), EINVAL);
    EXPECT_EQ(::rename(a, b), 0);
    EXPECT_EQ(contentAt("/b/file"), "bytes");
    EXPECT_EQ(::unlink(at("/b/file")), 0);
    EXPECT_EQ(::rmdir(b), 0);
    EXPECT_EQ(statusError("/b"), ENOENT);
}

TEST_F(GMUserFileSystemWrite, openFilesFollowRenamesAndRemovals) {
    volume->addFolder("/folder");
    volume->addFile("/folder/file", "old");
    mount();
    const int moved = openFile("/folder/file", O_RDWR);
    ASSERT_EQ(::rename(at("/folder"), at("/other")), 0);
    EXPECT_EQ(::write(moved, "new", 3), 3);
    ::close(moved);
    EXPECT_TRUE(awaitContent("/other/file", "new"));
    EXPECT_EQ(volume->content("/folder/file"), std::nullopt);

    const int removed = openFile("/other/file", O_RDWR);
    ASSERT_EQ(::unlink(at("/other/file")), 0);
    EXPECT_EQ(statusError("/other/file"), ENOENT);
    char buffer[4] = {};
    EXPECT_EQ(::pread(removed, buffer, 3, 0), 3);
    EXPECT_STREQ(buffer, "new");
    ::close(removed);
    EXPECT_TRUE(await([&] { return ::rmdir(at("/other")) == 0; }));
}

TEST_F(GMUserFileSystemWrite, attributesAreSetAndWhatAServerHasNotIsRefused) {
    volume->addFile(path, "x");
    mount();
    const SystemPath file = at(path);
    ASSERT_EQ(::chmod(file, 0640), 0);
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                              {.tv_sec = 1'000'000, .tv_nsec = 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file, times, 0), 0);
    EXPECT_EQ(statusOf(path).st_mtim.tv_sec, 1'000'000);
    EXPECT_EQ(statusOf(path).st_mtim.tv_nsec, 250'000'000);
    EXPECT_EQ(statusOf(path).st_mode & 07777, 0640u);
    EXPECT_EQ(::chown(file, ::getuid(), ::getgid()), 0);
    EXPECT_EQ(failureOf(::chown(file, 12345, gid_t(-1))), EPERM);

    const SystemPath other = at("/other");
    EXPECT_EQ(failureOf(::symlink("target", other)), EPERM);
    EXPECT_EQ(failureOf(::link(file, other)), EPERM);
    EXPECT_EQ(failureOf(::mkfifo(other, 0644)), EPERM);
    EXPECT_EQ(::mknod(other, S_IFREG | 0644, 0), 0);
    EXPECT_TRUE(awaitContent("/other", ""));
    const int open = openFile(path, O_RDWR);
    EXPECT_EQ(failureOf(::fallocate(open, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 1)),
              EOPNOTSUPP);
    EXPECT_EQ(::posix_fallocate(open, 0, 10), 0);
    ::close(open);
    EXPECT_TRUE(await([&] { return volume->content(path)->size() == 10; }));
}
