#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/sysmacros.h>

#include <QDateTime>

#include "FuseMountFixture.h"

using testing::Contains;
using testing::ElementsAre;

class GMUserFileSystemWrite : public FuseMountFixture<FuseWritableVolume> {
  protected:
    // What reaches the volume with the release, which comes after close(2).
    bool awaitContent(const QString &path, const QByteArray &content) {
        return await([&] { return volume->content(path) == content; });
    }

    void writeAll(const QString &path, int flags, const QByteArray &bytes) {
        const int file = openFile(path, flags);
        ASSERT_GE(file, 0) << std::strerror(errno);
        EXPECT_EQ(::write(file, bytes.constData(), size_t(bytes.size())), bytes.size());
        EXPECT_EQ(::close(file), 0);
    }

    const QString path = QStringLiteral("/file");
};

TEST_F(GMUserFileSystemWrite, createsAFileAskingForItsNameBefore) {
    mount();
    writeAll(path, O_CREAT | O_EXCL | O_WRONLY, "content");
    EXPECT_TRUE(awaitContent(path, "content"));
    const QStringList calls = volume->calls();
    const qsizetype create = calls.indexOf(QStringLiteral("create /file"));
    ASSERT_GT(create, 0);
    EXPECT_EQ(calls[create - 1], QStringLiteral("attributes /file"));
    EXPECT_EQ(contentAt(path), "content");
    EXPECT_EQ(statusOf(path).st_mode & 0700, 0600u);
}

TEST_F(GMUserFileSystemWrite, createMeetsWhatTheServerGotMeanwhile) {
    mount();
    ASSERT_EQ(statusError(path), ENOENT);
    volume->addFile(path, "theirs");
    EXPECT_EQ(failureOf(openFile(path, O_CREAT | O_EXCL | O_WRONLY)), EEXIST);
    const int file = openFile(path, O_CREAT | O_RDWR);
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
    const struct {
        const char *what;
        std::function<bool()> change;
        QByteArray expected;
    } rows[] = {
        {"O_TRUNC alone", [&] { return openAnd(O_WRONLY | O_TRUNC, [](int) { return 0; }); }, ""},
        {"O_TRUNC of a reader", [&] { return openAnd(O_RDONLY | O_TRUNC, [](int) { return 0; }); },
         ""},
        {"O_TRUNC and a write",
         [&] { return openAnd(O_WRONLY | O_TRUNC, [](int f) { return ::write(f, "ab", 2) - 2; }); },
         "ab"},
        {"truncate", [&] { return ::truncate(at(path), 3) == 0; }, "012"},
        {"truncate beyond the end", [&] { return ::truncate(at(path), 12) == 0; },
         QByteArray("0123456789\0\0", 12)},
        {"ftruncate", [&] { return openAnd(O_WRONLY, [](int f) { return ::ftruncate(f, 4); }); },
         "0123"},
        {"ftruncate beyond the end",
         [&] { return openAnd(O_RDWR, [](int f) { return ::ftruncate(f, 11); }); },
         QByteArray("0123456789\0", 11)},
    };
    mount();
    for (const auto &row : rows) {
        volume->addFile(path, "0123456789");
        EXPECT_TRUE(row.change()) << row.what << ": " << std::strerror(errno);
        EXPECT_TRUE(awaitContent(path, row.expected)) << row.what;
        EXPECT_TRUE(await([&] { return contentAt(path) == row.expected; })) << row.what;
        EXPECT_TRUE(await([&] {
            return volume->callCount(QStringLiteral("open /file")) ==
                   volume->callCount(QStringLiteral("release /file"));
        })) << row.what;
    }
}

TEST_F(GMUserFileSystemWrite, writesAnywhereAndThroughMappings) {
    volume->addFile(path, "0123456789");
    mount();
    const int file = openFile(path, O_RDWR);
    EXPECT_EQ(::pwrite(file, "ab", 2, 4), 2);
    char buffer[16] = {};
    EXPECT_EQ(::pread(file, buffer, sizeof buffer, 0), 10);
    EXPECT_STREQ(buffer, "0123ab6789");
    EXPECT_EQ(::fsync(file), 0);
    EXPECT_EQ(volume->callCount(QStringLiteral("synchronize /file")), 1);
    EXPECT_EQ(volume->content(path), "0123456789");

    auto *mapped =
        static_cast<char *>(::mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    ASSERT_NE(mapped, MAP_FAILED);
    mapped[0] = 'M';
    ::munmap(mapped, 10);
    ::close(file);
    EXPECT_TRUE(awaitContent(path, "M123ab6789"));
}

TEST_F(GMUserFileSystemWrite, appendsAtTheEndTheServerKnows) {
    volume->addFile(path, "one");
    mount({QStringLiteral("attr_timeout=60"), QStringLiteral("entry_timeout=60")});
    ASSERT_EQ(statusOf(path).st_size, 3);
    volume->addFile(path, "one two");
    const int file = openFile(path, O_RDWR | O_APPEND);
    EXPECT_EQ(::write(file, " three", 6), 6);
    EXPECT_EQ(::write(file, " four", 5), 5);
    ::close(file);
    EXPECT_TRUE(awaitContent(path, "one two three four"));
}

TEST_F(GMUserFileSystemWrite, mappedPagesOfAnAppenderStayInPlace) {
    volume->addFile(path, "0123456789");
    mount();
    const int file = openFile(path, O_RDWR | O_APPEND);
    auto *mapped =
        static_cast<char *>(::mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    ASSERT_NE(mapped, MAP_FAILED);
    mapped[5] = 'M';
    ::munmap(mapped, 10);
    ::close(file);
    EXPECT_TRUE(awaitContent(path, "01234M6789"));
}

TEST_F(GMUserFileSystemWrite, changesTheTree) {
    mount();
    const SystemPath a = at(QStringLiteral("/a"));
    const SystemPath b = at(QStringLiteral("/b"));
    ASSERT_EQ(::mkdir(a, 0755), 0);
    writeAll(QStringLiteral("/a/file"), O_CREAT | O_WRONLY, "bytes");
    // Removing or replacing a folder must never take content along.
    EXPECT_EQ(failureOf(::rmdir(a)), ENOTEMPTY);
    ASSERT_EQ(::mkdir(b, 0755), 0);
    EXPECT_EQ(failureOf(::rename(b, a)), ENOTEMPTY);
    EXPECT_EQ(failureOf(::renameat2(AT_FDCWD, a, AT_FDCWD, b, RENAME_NOREPLACE)), EEXIST);
    EXPECT_EQ(failureOf(::renameat2(AT_FDCWD, a, AT_FDCWD, b, RENAME_EXCHANGE)), EINVAL);
    EXPECT_EQ(::rename(a, b), 0);
    EXPECT_EQ(contentAt(QStringLiteral("/b/file")), "bytes");
    EXPECT_EQ(::renameat2(AT_FDCWD, b, AT_FDCWD, a, RENAME_NOREPLACE), 0);
    EXPECT_EQ(::unlink(a + "/file"), 0);
    EXPECT_EQ(::rmdir(a), 0);
    EXPECT_EQ(statusError(QStringLiteral("/a")), ENOENT);
}

TEST_F(GMUserFileSystemWrite, filesReplacedByKindAreRefusedThoughTheKernelKnewOtherwise) {
    volume->addFile(QStringLiteral("/target"), "old");
    volume->addFile(path, "new");
    mount({QStringLiteral("attr_timeout=60"), QStringLiteral("entry_timeout=60")});
    ASSERT_EQ(statusError(path), 0);
    ASSERT_EQ(statusError(QStringLiteral("/target")), 0);
    volume->addFolder(QStringLiteral("/target"));
    volume->addFile(QStringLiteral("/target/theirs"), "theirs");
    EXPECT_EQ(failureOf(::rename(at(path), at(QStringLiteral("/target")))), EISDIR);
    EXPECT_EQ(volume->content(QStringLiteral("/target/theirs")), "theirs");
}

TEST_F(GMUserFileSystemWrite, openFilesFollowRenamesAndRemovals) {
    volume->addFolder(QStringLiteral("/folder"));
    volume->addFile(QStringLiteral("/folder/file"), "old");
    mount();
    const int moved = openFile(QStringLiteral("/folder/file"), O_RDWR);
    ASSERT_EQ(::rename(at(QStringLiteral("/folder")), at(QStringLiteral("/other"))), 0);
    EXPECT_EQ(::write(moved, "new", 3), 3);
    ::close(moved);
    EXPECT_TRUE(awaitContent(QStringLiteral("/other/file"), "new"));
    EXPECT_EQ(volume->content(QStringLiteral("/folder/file")), std::nullopt);

    const int removed = openFile(QStringLiteral("/other/file"), O_RDWR);
    ASSERT_EQ(::unlink(at(QStringLiteral("/other/file"))), 0);
    EXPECT_EQ(statusError(QStringLiteral("/other/file")), ENOENT);
    char buffer[4] = {};
    EXPECT_EQ(::pread(removed, buffer, 3, 0), 3);
    EXPECT_STREQ(buffer, "new");
    ::close(removed);
    EXPECT_TRUE(await([&] { return ::rmdir(at(QStringLiteral("/other"))) == 0; }));
}

TEST_F(GMUserFileSystemWrite, attributesAreSet) {
    volume->addFile(path, "x");
    mount();
    ASSERT_EQ(::chmod(at(path), 0640), 0);
    EXPECT_EQ(volume->setAttributesOf(path), (AttributeMap{{NSFilePosixPermissions, 0640}}));
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                              {.tv_sec = 1'000'000, .tv_nsec = 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, at(path), times, 0), 0);
    EXPECT_EQ(volume->setAttributesOf(path),
              (AttributeMap{{NSFileModificationDate,
                             QDateTime::fromMSecsSinceEpoch(1'000'000'250, Qt::UTC)}}));
    EXPECT_EQ(statusOf(path).st_mode & 07777, 0640u);
    EXPECT_EQ(statusOf(path).st_mtim.tv_sec, 1'000'000);
    EXPECT_EQ(::chown(at(path), ::getuid(), ::getgid()), 0);
    EXPECT_EQ(failureOf(::chown(at(path), 12345, gid_t(-1))), EPERM);
}

TEST_F(GMUserFileSystemWrite, whatAServerHasNotIsRefused) {
    volume->addFile(path, "x");
    mount();
    const SystemPath other = at(QStringLiteral("/other"));
    EXPECT_EQ(failureOf(::symlink("target", other)), EPERM);
    EXPECT_EQ(failureOf(::link(at(path), other)), EPERM);
    EXPECT_EQ(failureOf(::mkfifo(other, 0644)), EPERM);
    EXPECT_EQ(::mknod(other, S_IFREG | 0644, 0), 0);
    EXPECT_TRUE(awaitContent(QStringLiteral("/other"), ""));
    const int file = openFile(path, O_RDWR);
    EXPECT_EQ(failureOf(::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 1)),
              EOPNOTSUPP);
    EXPECT_EQ(::posix_fallocate(file, 0, 10), 0);
    ::close(file);
    EXPECT_TRUE(await([&] { return volume->content(path)->size() == 10; }));
}
