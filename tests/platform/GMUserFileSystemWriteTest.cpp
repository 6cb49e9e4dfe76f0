#include <sys/mman.h>
#include <sys/wait.h>

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
    volume->beforeCreate = [&](const QString &name) {
        if (name.startsWith("/made"))
            volume->addFile(name, "theirs");
    };
    mount();
    writeAll(path, O_CREAT | O_EXCL | O_WRONLY, "content");
    EXPECT_TRUE(awaitContent(path, "content"));
    const QStringList calls = volume->calls();
    const qsizetype create = calls.indexOf("create /file");
    ASSERT_GT(create, 0);
    EXPECT_EQ(calls[create - 1], "attributes /file");

    ASSERT_EQ(statusError("/theirs"), ENOENT);
    volume->addFile("/theirs", "theirs");
    EXPECT_EQ(failureOf(openFile("/theirs", O_CREAT | O_EXCL | O_WRONLY)), EEXIST);
    const int file = openFile("/theirs", O_CREAT | O_RDWR);
    char buffer[8] = {};
    EXPECT_EQ(::read(file, buffer, sizeof buffer), 6);
    EXPECT_STREQ(buffer, "theirs");
    ::close(file);

    EXPECT_EQ(failureOf(openFile("/made1", O_CREAT | O_EXCL | O_WRONLY)), EEXIST);
    ::close(openFile("/made2", O_CREAT | O_WRONLY));
    EXPECT_TRUE(awaitReleases("/made2"));
    EXPECT_EQ(volume->content("/made2"), "theirs");
    ::close(openFile("/made3", O_CREAT | O_TRUNC | O_WRONLY));
    EXPECT_TRUE(awaitContent("/made3", ""));
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
        // Writing fetches what the delegate hasn't got yet, which is in vain for an emptied file.
        bool emptiesFirst = true;
    } rows[] = {
        {"O_TRUNC alone", [&] { return openAnd(O_WRONLY | O_TRUNC, nothing); }, ""},
        {"O_TRUNC of a reader", [&] { return openAnd(O_RDONLY | O_TRUNC, nothing); }, ""},
        {"O_TRUNC and a write",
         [&] { return openAnd(O_WRONLY | O_TRUNC, [](int f) { return ::write(f, "ab", 2) - 2; }); },
         "ab"},
        {"truncate to nothing", [&] { return ::truncate(at(path), 0) == 0; }, ""},
        {"truncate", [&] { return ::truncate(at(path), 3) == 0; }, "012", false},
        {"truncate beyond the end", [&] { return ::truncate(at(path), 12) == 0; },
         QByteArray("0123456789\0\0", 12), false},
        {"ftruncate", [&] { return openAnd(O_WRONLY, [](int f) { return ::ftruncate(f, 4); }); },
         "0123", false},
    };
    mount();
    for (const auto &row : rows) {
        volume->addFile(path, "0123456789");
        const qsizetype before = volume->calls().size();
        EXPECT_TRUE(row.change()) << row.what << ": " << std::strerror(errno);
        EXPECT_TRUE(awaitContent(path, row.expected)) << row.what;
        EXPECT_TRUE(await([&] { return contentAt(path) == row.expected; })) << row.what;
        EXPECT_TRUE(awaitReleases(path)) << row.what;
        const QStringList calls = volume->calls();
        EXPECT_EQ(calls.indexOf("resize /file", before) < calls.indexOf("write /file", before),
                  row.emptiesFirst)
            << row.what;
    }
}

// In a process of its own: one that waits for a page holds up every mapping of its other threads,
// and the host's thread, which is to bring the page, may need one.
void writeMapped(int file, char byte) {
    const pid_t child = ::fork();
    if (child == 0) {
        void *mapped = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (mapped == MAP_FAILED)
            ::_exit(1);
        *static_cast<char *>(mapped) = byte;
        ::_exit(::munmap(mapped, 1) == 0 && ::fsync(file) == 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
}

TEST_F(GMUserFileSystemWrite, writesAnywhereAndThroughMappings) {
    mount();
    for (const int append : {0, O_APPEND}) {
        const QString name = append ? "/appended" : "/file";
        volume->addFile(name, "0123456789");
        const int file = openFile(name, O_RDWR | append);
        writeMapped(file, 'M');
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
    writeAll("/other", O_CREAT | O_WRONLY, "other");
    const int open = openFile("/a/file", O_RDONLY);
    EXPECT_EQ(::renameat2(AT_FDCWD, at("/a/file"), AT_FDCWD, at("/other"), RENAME_EXCHANGE), 0);
    ::close(open);
    EXPECT_TRUE(await([&] { return volume->callCount("release /other") == 2; }));
    EXPECT_EQ(contentAt("/other"), "bytes");
    EXPECT_EQ(::rename(at("/other"), at("/a/file")), 0);
    EXPECT_EQ(::rename(a, b), 0);
    EXPECT_EQ(contentAt("/b/file"), "bytes");
    EXPECT_EQ(::unlink(at("/b/file")), 0);
    EXPECT_EQ(::rmdir(b), 0);
    EXPECT_EQ(statusError("/b"), ENOENT);
}

TEST_F(GMUserFileSystemWrite, openFilesFollowRenames) {
    volume->addFolder("/folder");
    volume->addFile("/folder/file", "old");
    mount();
    const int moved = openFile("/folder/file", O_RDWR);
    ASSERT_EQ(::rename(at("/folder"), at("/other")), 0);
    EXPECT_EQ(::write(moved, "new", 3), 3);
    ::close(moved);
    EXPECT_TRUE(awaitContent("/other/file", "new"));
    EXPECT_EQ(volume->content("/folder/file"), std::nullopt);
}

TEST_F(GMUserFileSystemWrite, filesRemovedWhileOpenLiveOn) {
    const auto unlink = [&](const QString &name) { return ::unlink(at(name)); };
    const auto replace = [&](const QString &name) { return ::rename(at("/new"), at(name)); };
    const struct {
        const char *what;
        int flags;
        std::function<int(const QString &)> remove;
        std::optional<QByteArray> left;
    } rows[] = {
        {"removed", O_RDWR, unlink, std::nullopt},
        {"removed as soon as made", O_RDWR | O_CREAT | O_EXCL, unlink, std::nullopt},
        {"replaced", O_RDWR, replace, "new"},
        {"replaced, and that one moved", O_RDWR,
         [&](const QString &name) { return replace(name) + ::rename(at(name), at("/moved")); },
         std::nullopt},
    };
    mount();
    for (const auto &row : rows) {
        const QString name = QString("/file%1").arg(&row - rows);
        SCOPED_TRACE(row.what);
        volume->addFile("/new", "new");
        if (row.flags == O_RDWR)
            volume->addFile(name, "old");
        const int file = openFile(name, row.flags);
        EXPECT_EQ(::pwrite(file, "old", 3, 0), 3);
        const int reader = openFile(name, O_RDONLY);
        ASSERT_EQ(row.remove(name), 0) << std::strerror(errno);
        const auto status = [](int descriptor) {
            struct stat status {};
            EXPECT_EQ(::fstat(descriptor, &status), 0) << std::strerror(errno);
            return status;
        };
        EXPECT_EQ(status(file).st_size, 3);
        EXPECT_EQ(status(file).st_nlink, 0u);
        EXPECT_EQ(::pwrite(file, "+more", 5, 3), 5);
        EXPECT_EQ(::ftruncate(file, 6), 0);
        EXPECT_EQ(::fchmod(file, 0600), 0);
        const timespec times[2] = {{.tv_sec = 1'000'000, .tv_nsec = 0},
                                   {.tv_sec = 1'000'000, .tv_nsec = 0}};
        EXPECT_EQ(::futimens(file, times), 0);
        ::close(file);
        EXPECT_EQ(status(reader).st_mtime, 1'000'000);
        char buffer[10] = {};
        EXPECT_EQ(::pread(reader, buffer, sizeof buffer, 0), 6);
        EXPECT_STREQ(buffer, "old+mo");
        EXPECT_EQ(contentAt(name), row.left);
        ::close(reader);
    }
    ASSERT_EQ(::mkdir(at("/folder"), 0755), 0);
    const int file = openFile("/folder/file", O_CREAT | O_WRONLY);
    const int folder = openFile("/folder", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(::unlink(at("/folder/file")), 0);
    EXPECT_EQ(::rmdir(at("/folder")), 0);
    struct stat removed {};
    EXPECT_EQ(::fstat(folder, &removed), 0) << std::strerror(errno);
    EXPECT_TRUE(S_ISDIR(removed.st_mode));
    EXPECT_EQ(removed.st_nlink, 0u);
    ::close(folder);
    ::close(file);
}

TEST_F(GMUserFileSystemWrite, spaceIsAllocatedAndCleared) {
    constexpr int kKeep = FALLOC_FL_KEEP_SIZE;
    const QByteArray old = "0123456789";
    const struct {
        int mode;
        off_t offset;
        off_t length;
        QByteArray expected;
        int failure = 0;
    } rows[] = {
        {0, 2, 10, old + QByteArray(2, '\0')},
        {0, 0, 5, old},
        {kKeep, 5, 100, old},
        {FALLOC_FL_PUNCH_HOLE | kKeep, 2, 3,
         QByteArray("01\0\0\0"
                    "56789",
                    10)},
        {FALLOC_FL_PUNCH_HOLE | kKeep, 8, 100, QByteArray("01234567\0\0", 10)},
        {FALLOC_FL_PUNCH_HOLE | kKeep, 20, 1, old},
        {FALLOC_FL_ZERO_RANGE | kKeep, 8, 4, QByteArray("01234567\0\0", 10)},
        {FALLOC_FL_ZERO_RANGE, 8, 4, QByteArray("01234567\0\0\0\0", 12)},
        {FALLOC_FL_COLLAPSE_RANGE, 0, 4, old, EOPNOTSUPP},
    };
    mount();
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " at " << row.offset);
        volume->addFile(path, old);
        const int file = openFile(path, O_RDWR);
        EXPECT_EQ(failureOf(::fallocate(file, row.mode, row.offset, row.length)), row.failure);
        ::close(file);
        EXPECT_TRUE(awaitReleases(path));
        EXPECT_EQ(volume->content(path), row.expected);
    }
}

TEST_F(GMUserFileSystemWrite, attributesAreSetAndWhatAServerHasNotIsRefused) {
    volume->addFile(path, "x");
    mount();
    const SystemPath file = at(path);
    const mode_t mode = statusOf(path).st_mode;
    ASSERT_EQ(::chmod(file, 0640), 0);
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                              {.tv_sec = 1'000'000, .tv_nsec = 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file, times, 0), 0);
    EXPECT_EQ(statusOf(path).st_mtim.tv_sec, 1'000'000);
    EXPECT_EQ(statusOf(path).st_mtim.tv_nsec, 250'000'000);
    EXPECT_EQ(statusOf(path).st_mode, mode);
    EXPECT_EQ(::chown(file, ::getuid(), ::getgid()), 0);
    // The kernel lets nobody but root try.
    const uid_t other = ::getuid() == 0 ? 12345 : ::getuid();
    EXPECT_EQ(::chown(file, other, gid_t(-1)), 0);
    EXPECT_EQ(statusOf(path).st_uid, ::getuid());

    const SystemPath made = at("/made");
    EXPECT_EQ(failureOf(::symlink("target", made)), EPERM);
    EXPECT_EQ(failureOf(::link(file, made)), EPERM);
    EXPECT_EQ(failureOf(::mkfifo(made, 0644)), EPERM);
    EXPECT_EQ(::mknod(made, S_IFREG | 0644, 0), 0);
    EXPECT_TRUE(awaitContent("/made", ""));
}
