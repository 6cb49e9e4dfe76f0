#include <dirent.h>
#include <random>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unordered_map>

#include "FuseMountFixture.h"
#include "platform/fuse/HostErrno.h"

using testing::Contains;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

// Names and types as the kernel gives them.
std::unordered_map<std::string, unsigned char> listing(const SystemPath &folder) {
    std::unordered_map<std::string, unsigned char> names;
    DIR *stream = ::opendir(folder);
    if (!stream)
        return names;
    while (const dirent *entry = ::readdir(stream)) {
        EXPECT_NE(entry->d_ino, 0u) << entry->d_name;
        EXPECT_TRUE(names.emplace(entry->d_name, entry->d_type).second) << entry->d_name;
    }
    ::closedir(stream);
    return names;
}

}  // namespace

class GMUserFileSystemRead : public FuseMountFixture<FuseMemoryVolume> {
  protected:
    const QString path = "/file";
};

TEST_F(GMUserFileSystemRead, namesAreComposedAndTheUnfitLeftOut) {
    const QString composed = "caf\u00e9";
    const QString decomposed = "cafe\u0301";
    const QString longest = QString(85, QChar(0x3042));
    volume->addFolder("/folder");
    volume->addFile('/' + composed, "bytes");
    volume->addFile('/' + longest, "longest");
    for (const QString &name :
         {QString("a/b"), QString("."), QString(".."), QString(""), "nul" + QString(QChar(0)),
          longest + 'x', QString(QChar(0xd800)), decomposed})
        volume->addName(name);
    mount();

    EXPECT_THAT(
        listing(at("/")),
        UnorderedElementsAre(std::pair(".", DT_DIR), std::pair("..", DT_DIR),
                             std::pair("folder", DT_DIR), std::pair(composed.toStdString(), DT_REG),
                             std::pair(longest.toStdString(), DT_REG)));
    EXPECT_THAT(volume->calls(), Not(Contains("attributes /folder")));

    EXPECT_EQ(contentAt('/' + composed), "bytes");
    EXPECT_EQ(contentAt('/' + decomposed), "bytes");
    const std::string latin1 = std::string(at("/")) + "caf\xe9";
    EXPECT_EQ(failureOf(::access(latin1.c_str(), F_OK)), EILSEQ);
    EXPECT_EQ(statusError('/' + QString(256, 'x')), ENAMETOOLONG);
    EXPECT_EQ(statusError('/' + QString(255, 'x')), ENOENT);
}

// A delegate may give less than it was asked for, which is no end of the file.
TEST_F(GMUserFileSystemRead, readsEveryByteOfADelegateThatGivesFew) {
    QByteArray bytes((3 << 20) + 1, Qt::Uninitialized);
    std::minstd_rand random(7);
    std::generate(bytes.begin(), bytes.end(), [&] { return char(random()); });
    volume->addFile(path, bytes);
    volume->addFile("/empty", "");
    volume->readLimit = 10'007;
    mount();
    EXPECT_EQ(contentAt(path), bytes);
    EXPECT_EQ(contentAt("/empty"), "");
}

TEST_F(GMUserFileSystemRead, keepsPagesOfAVersionAndDropsThemWithIt) {
    const QDateTime date = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    volume->addFile(path, "first", date);
    mount();
    ASSERT_EQ(contentAt(path), "first");
    const qsizetype reads = volume->callCount("read /file");
    ASSERT_EQ(contentAt(path), "first");
    EXPECT_EQ(volume->callCount("read /file"), reads);

    volume->addFile(path, "2nd..", date.addSecs(1));
    EXPECT_TRUE(await([&] { return contentAt(path) == "2nd.."; }));

    // Also for a reader that keeps the file open.
    const int file = openFile(path, O_RDONLY);
    volume->addFile(path, "the third", date.addSecs(2));
    EXPECT_TRUE(await([&] {
        char buffer[32];
        const ssize_t count = ::pread(file, buffer, sizeof buffer, 0);
        return QByteArray(buffer, count) == "the third";
    }));
    ::close(file);
}

TEST_F(GMUserFileSystemRead, tellsAttributesThatProgramsCanWorkWith) {
    volume->addFile(path, QByteArray(1000, 'x'), QDateTime::fromMSecsSinceEpoch(-1'500, Qt::UTC),
                    0600);
    mount();
    const struct stat file = statusOf(path);
    EXPECT_EQ(file.st_mode & (S_IFMT | 0700), S_IFREG | 0700u);
    EXPECT_EQ(file.st_blocks, 2);
    EXPECT_EQ(file.st_mtim.tv_sec, -2);
    EXPECT_EQ(file.st_mtim.tv_nsec, 500'000'000);
    char value[16] = {};
    EXPECT_EQ(::getxattr(at(path), "user.present", value, sizeof value), 5);
    EXPECT_EQ(failureOf(::getxattr(at(path), "user.present", value, 2)), ERANGE);
    EXPECT_EQ(failureOf(::getxattr(at(path), "user.absent", value, sizeof value)), ENODATA);

    struct statvfs figures {};
    ASSERT_EQ(::statvfs(at("/"), &figures), 0);
    EXPECT_GT(figures.f_bavail, 0u) << "where the server tells none";
    volume->tellsFigures = true;
    ASSERT_EQ(::statvfs(at("/"), &figures), 0);
    EXPECT_EQ(figures.f_bavail * figures.f_frsize, 4096000u);
}

TEST_F(GMUserFileSystemRead, mapsEveryErrorToAnErrno) {
    const struct {
        const char *what;
        std::optional<Error> error;
        int expected;
    } rows[] = {
        {"posix", Error::errorWithPOSIXCode(ENETUNREACH), ENETUNREACH},
        // To a stat, what is missing in a folder that can't be written is just missing.
        {"readonly", Error::errorWithPOSIXCode(EROFS), ENOENT},
        // To the kernel, ENOSYS would end all attribute queries of the volume.
        {"nosys", Error::errorWithPOSIXCode(ENOSYS), EOPNOTSUPP},
        {"nonsense", Error::errorWithPOSIXCode(-3), EIO},
        {"silent", std::nullopt, EIO},
        {"odd", Error{"UploadThread", 1, {}}, EIO},
        {"connect0", Error{kConnectErrorDomain, 0, {}}, ENETUNREACH},
        {"connect6", Error{kConnectErrorDomain, 6, {}}, ENOENT},
        {"connect7", Error{kConnectErrorDomain, 7, {}}, EACCES},
        {"connect13", Error{kConnectErrorDomain, 13, {}}, EIO},
        {"connect22", Error{kConnectErrorDomain, 22, {}}, ECANCELED},
    };
    for (const auto &row : rows)
        volume->fail(QString("/") + row.what, row.error);
    mount();
    for (const auto &row : rows)
        EXPECT_EQ(statusError(QString("/") + row.what), row.expected) << row.what;

    // No code of the session may come out as "never ask again".
    for (int code = 0; code <= 23; ++code)
        EXPECT_NE(hostErrno(Error{kConnectErrorDomain, code, {}}), ENOSYS) << code;
}

TEST_F(GMUserFileSystemRead, failsOpenReadAndListWithTheDelegatesErrors) {
    volume->addFolder("/folder");
    volume->addFile(path, "bytes");
    mount(lastingOptions());
    const int file = openFile(path, O_RDONLY);
    ASSERT_EQ(statusError("/folder"), 0);

    for (const char *each : {"/file", "/folder"})
        volume->fail(each, Error{kConnectErrorDomain, 11, {}});
    char byte = 0;
    EXPECT_EQ(failureOf(::pread(file, &byte, 1, 0)), EHOSTDOWN);
    EXPECT_EQ(failureOf(openFile(path, O_RDONLY)), EHOSTDOWN);
    DIR *stream = ::opendir(at("/folder"));
    ASSERT_TRUE(stream);
    errno = 0;
    EXPECT_FALSE(::readdir(stream));
    EXPECT_EQ(errno, EHOSTDOWN);
    ::closedir(stream);
    ::close(file);
}

TEST_F(GMUserFileSystemRead, refusesChangesWhereTheDelegateHasNone) {
    volume->addFolder("/folder");
    volume->addFile(path, "bytes");
    mount();
    const SystemPath file = at(path);
    const SystemPath absent = at("/absent");
    const std::pair<const char *, int> rows[] = {
        {"create", failureOf(openFile("/absent", O_CREAT | O_WRONLY))},
        {"truncating open", failureOf(openFile(path, O_WRONLY | O_TRUNC))},
        {"truncate", failureOf(::truncate(file, 1))},
        {"mkdir", failureOf(::mkdir(absent, 0755))},
        {"unlink", failureOf(::unlink(file))},
        {"rmdir", failureOf(::rmdir(at("/folder")))},
        {"rename", failureOf(::rename(file, absent))},
        {"chmod", failureOf(::chmod(file, 0600))},
        {"utimens", failureOf(::utimensat(AT_FDCWD, file, nullptr, 0))},
    };
    for (const auto &[what, failure] : rows)
        EXPECT_EQ(failure, EROFS) << what;
    EXPECT_EQ(contentAt(path), "bytes");
    EXPECT_TRUE(awaitReleases(path));
}
