#include <dirent.h>
#include <gmock/gmock.h>
#include <random>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unordered_map>

#include "FuseMountFixture.h"
#include "platform/fuse/HostErrno.h"

using testing::Contains;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

const QString kComposed = QStringLiteral("caf\u00e9");
const QString kDecomposed = QStringLiteral("cafe\u0301");

QByteArray pattern(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    std::minstd_rand random(unsigned(size) + 1);
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

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

class GMUserFileSystemRead : public FuseMountFixture<FuseMemoryVolume> {};

TEST_F(GMUserFileSystemRead, listsNamesComposedAndLeavesOutTheUnfit) {
    const QString longest = QString(85, QChar(0x3042));
    volume->addFolder(QStringLiteral("/folder"));
    volume->addFile(u'/' + kComposed, "composed");
    volume->addFile(u'/' + longest, "longest");
    for (const QString &name :
         {QStringLiteral("a/b"), QStringLiteral("."), QStringLiteral(".."), QStringLiteral(""),
          QStringLiteral("nul") + QChar(0), longest + u'x', QString(QChar(0xd800)), kDecomposed})
        volume->addName(QStringLiteral("/"), name);
    mount();

    EXPECT_THAT(listing(at(QStringLiteral("/"))),
                UnorderedElementsAre(std::pair(".", DT_DIR), std::pair("..", DT_DIR),
                                     std::pair("folder", DT_DIR),
                                     std::pair(kComposed.toStdString(), DT_REG),
                                     std::pair(longest.toStdString(), DT_REG)));
    EXPECT_THAT(volume->calls(), Not(Contains(QStringLiteral("attributes /folder"))));

    volume->tellsTypes = false;
    EXPECT_EQ(listing(at(QStringLiteral("/")))["folder"], DT_UNKNOWN);
}

TEST_F(GMUserFileSystemRead, opensNamesInEitherForm) {
    volume->addFile(u'/' + kComposed, "bytes");
    mount();
    EXPECT_EQ(contentAt(u'/' + kComposed), "bytes");
    EXPECT_EQ(contentAt(u'/' + kDecomposed), "bytes");
    EXPECT_EQ(::access(at(QStringLiteral("/")) + "caf\xe9", F_OK) ? errno : 0, EILSEQ);
    EXPECT_EQ(statusError(u'/' + QString(256, u'x')), ENAMETOOLONG);
    EXPECT_EQ(statusError(u'/' + QString(255, u'x')), ENOENT);
}

TEST_F(GMUserFileSystemRead, readsEveryByte) {
    const qsizetype sizes[] = {0,     1,     4095,   4096,      4097,
                               65535, 65536, 131073, (1 << 20), (3 << 20) + 1};
    for (const qsizetype size : sizes)
        volume->addFile(QStringLiteral("/%1").arg(size), pattern(size));
    // A delegate may give less than it was asked for, which is no end of the file.
    volume->readLimit = 10'007;
    mount();

    for (const qsizetype size : sizes) {
        const QString path = QStringLiteral("/%1").arg(size);
        EXPECT_EQ(contentAt(path), pattern(size)) << size;
        EXPECT_EQ(statusOf(path).st_size, size);
    }
}

TEST_F(GMUserFileSystemRead, readsAtRandomAndThroughMappings) {
    constexpr qsizetype kSize = 2'000'003;
    const QByteArray expected = pattern(kSize);
    volume->addFile(QStringLiteral("/file"), expected);
    mount();

    const int file = openFile(QStringLiteral("/file"), O_RDONLY);
    ASSERT_GE(file, 0);
    std::minstd_rand random(7);
    for (int i = 0; i < 50; ++i) {
        const off_t offset = off_t(random() % (kSize + 5000));
        QByteArray part(random() % 70'000, Qt::Uninitialized);
        const ssize_t count = ::pread(file, part.data(), size_t(part.size()), offset);
        ASSERT_EQ(part.left(count), expected.mid(offset, part.size())) << offset;
    }
    void *mapped = ::mmap(nullptr, kSize, PROT_READ, MAP_PRIVATE, file, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    EXPECT_EQ(std::memcmp(mapped, expected.constData(), kSize), 0);
    ::munmap(mapped, kSize);
    ::close(file);
}

TEST_F(GMUserFileSystemRead, runsProgramsOfTheVolume) {
    QFile program(QStringLiteral("/bin/echo"));
    ASSERT_TRUE(program.open(QIODevice::ReadOnly));
    volume->addFile(QStringLiteral("/program"), program.readAll());
    volume->addFile(QStringLiteral("/script"), "#!/bin/sh\necho said $1\n");
    volume->addFile(QStringLiteral("/forbidden"), "#!/bin/sh\n");
    volume->setMode(QStringLiteral("/forbidden"), 0644);
    mount();

    EXPECT_EQ(runCommand(root + QStringLiteral("/program word")).output, "word\n");
    EXPECT_EQ(runCommand(root + QStringLiteral("/script word")).output, "said word\n");
    EXPECT_EQ(failureOf(::access(at(QStringLiteral("/forbidden")), X_OK)), EACCES);
}

TEST_F(GMUserFileSystemRead, keepsPagesOfAVersionAndDropsThemWithIt) {
    const QString path = QStringLiteral("/file");
    const QDateTime date = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    volume->addFile(path, "first", date);
    mount();
    ASSERT_EQ(contentAt(path), "first");
    volume->forgetCalls();
    ASSERT_EQ(contentAt(path), "first");
    EXPECT_EQ(volume->callCount(QStringLiteral("read /file")), 0);

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
    const QDateTime date = QDateTime::fromMSecsSinceEpoch(-1'500, Qt::UTC);
    volume->addFolder(QStringLiteral("/folder"));
    volume->addFile(QStringLiteral("/file"), QByteArray(1000, 'x'), date);
    volume->addFile(QStringLiteral("/private"), "x");
    volume->setMode(QStringLiteral("/private"), 0600);
    mount();

    const struct stat file = statusOf(QStringLiteral("/file"));
    EXPECT_TRUE(S_ISREG(file.st_mode));
    EXPECT_EQ(file.st_mode & 0700, 0700u);
    EXPECT_EQ(file.st_uid, ::getuid());
    EXPECT_EQ(file.st_blocks, 2);
    EXPECT_EQ(file.st_blksize, 128 * 1024);
    EXPECT_EQ(file.st_mtim.tv_sec, -2);
    EXPECT_EQ(file.st_mtim.tv_nsec, 500'000'000);
    EXPECT_EQ(file.st_ctim.tv_sec, -2);

    const struct stat subfolder = statusOf(QStringLiteral("/folder"));
    EXPECT_TRUE(S_ISDIR(subfolder.st_mode));
    EXPECT_EQ(subfolder.st_nlink, 1u);
    EXPECT_NE(subfolder.st_ino, file.st_ino);
    EXPECT_LT(std::abs(subfolder.st_mtim.tv_sec - ::time(nullptr)), 60);
    EXPECT_EQ(statusOf(QStringLiteral("/private")).st_mode & 07777, 0600u);
}

TEST_F(GMUserFileSystemRead, mapsEveryErrorToAnErrno) {
    const Error odd{QStringLiteral("UploadThread"), 1, {}};
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
        {"odd", odd, EIO},
        {"connect0", Error{kConnectErrorDomain, 0, {}}, ENETUNREACH},
        {"connect6", Error{kConnectErrorDomain, 6, {}}, ENOENT},
        {"connect7", Error{kConnectErrorDomain, 7, {}}, EACCES},
        {"connect12", Error{kConnectErrorDomain, 12, {}}, EHOSTDOWN},
        {"connect13", Error{kConnectErrorDomain, 13, {}}, EIO},
        {"connect21", Error{kConnectErrorDomain, 21, {}}, EIO},
        {"connect22", Error{kConnectErrorDomain, 22, {}}, ECANCELED},
    };
    for (const auto &row : rows)
        volume->fail(u'/' + QString::fromLatin1(row.what), row.error);
    volume->addFolder(QStringLiteral("/locked"));
    mount();
    for (const auto &row : rows)
        EXPECT_EQ(statusError(u'/' + QString::fromLatin1(row.what)), row.expected) << row.what;
    EXPECT_EQ(statusError(QStringLiteral("/locked")), 0);

    // No code of the session may come out as "never ask again".
    for (int code = 0; code <= 23; ++code)
        EXPECT_NE(hostErrno(Error{kConnectErrorDomain, code, {}}), ENOSYS) << code;
}

TEST_F(GMUserFileSystemRead, failsOpenReadAndListWithTheDelegatesErrors) {
    volume->addFolder(QStringLiteral("/folder"));
    volume->addFile(QStringLiteral("/file"), "bytes");
    mount({QStringLiteral("attr_timeout=60"), QStringLiteral("entry_timeout=60")});
    const int file = openFile(QStringLiteral("/file"), O_RDONLY);
    ASSERT_EQ(statusError(QStringLiteral("/folder")), 0);

    const Error down{kConnectErrorDomain, 11, {}};
    for (const char *path : {"/file", "/folder"})
        volume->fail(QString::fromLatin1(path), down);
    char byte = 0;
    EXPECT_EQ(failureOf(::pread(file, &byte, 1, 0)), EHOSTDOWN);
    EXPECT_EQ(failureOf(openFile(QStringLiteral("/file"), O_RDONLY)), EHOSTDOWN);
    DIR *stream = ::opendir(at(QStringLiteral("/folder")));
    ASSERT_TRUE(stream);
    errno = 0;
    EXPECT_FALSE(::readdir(stream));
    EXPECT_EQ(errno, EHOSTDOWN);
    ::closedir(stream);
    ::close(file);
}

TEST_F(GMUserFileSystemRead, tellsTheFiguresOfTheVolume) {
    mount();
    struct statvfs unknown {};
    ASSERT_EQ(::statvfs(at(QStringLiteral("/")), &unknown), 0);
    EXPECT_GT(unknown.f_bavail, 0u);
    EXPECT_EQ(unknown.f_namemax, 255u);

    volume->setFigures({{NSFileSystemSize, 8192000}, {NSFileSystemFreeSize, 4096000}});
    struct statvfs known {};
    ASSERT_EQ(::statvfs(at(QStringLiteral("/")), &known), 0);
    EXPECT_EQ(known.f_blocks * known.f_frsize, 8192000u);
    EXPECT_EQ(known.f_bavail * known.f_frsize, 4096000u);
}

TEST_F(GMUserFileSystemRead, tellsExtendedAttributesAsTheDelegateDoes) {
    volume->addFile(QStringLiteral("/file"), "x");
    mount();
    const SystemPath path = at(QStringLiteral("/file"));
    char value[16] = {};
    EXPECT_EQ(::getxattr(path, "user.present", value, sizeof value), 5);
    EXPECT_STREQ(value, "value");
    EXPECT_EQ(::getxattr(path, "user.present", nullptr, 0), 5);
    EXPECT_EQ(failureOf(::getxattr(path, "user.present", value, 2)), ERANGE);
    EXPECT_EQ(failureOf(::getxattr(path, "user.absent", value, sizeof value)), ENODATA);
    EXPECT_EQ(failureOf(::getxattr(path, "user.other", value, sizeof value)), EOPNOTSUPP);
    EXPECT_EQ(::listxattr(path, value, sizeof value), 0);
    EXPECT_EQ(failureOf(::setxattr(path, "user.any", "v", 1, 0)), EOPNOTSUPP);
    EXPECT_EQ(failureOf(::removexattr(path, "user.any")), EOPNOTSUPP);
}

TEST_F(GMUserFileSystemRead, refusesChangesWhereTheDelegateHasNone) {
    volume->addFolder(QStringLiteral("/folder"));
    volume->addFile(QStringLiteral("/file"), "bytes");
    mount();
    const SystemPath file = at(QStringLiteral("/file"));
    const SystemPath absent = at(QStringLiteral("/absent"));
    const struct {
        const char *what;
        int failure;
    } rows[] = {
        {"create", failureOf(::open(absent, O_CREAT | O_WRONLY, 0644))},
        {"truncating open", failureOf(::open(file, O_WRONLY | O_TRUNC))},
        {"truncate", failureOf(::truncate(file, 1))},
        {"mkdir", failureOf(::mkdir(absent, 0755))},
        {"unlink", failureOf(::unlink(file))},
        {"rmdir", failureOf(::rmdir(at(QStringLiteral("/folder"))))},
        {"rename", failureOf(::rename(file, absent))},
        {"chmod", failureOf(::chmod(file, 0600))},
        {"utimens", failureOf(::utimensat(AT_FDCWD, file, nullptr, 0))},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.failure, EROFS) << row.what;
    EXPECT_EQ(contentAt(QStringLiteral("/file")), "bytes");
    EXPECT_TRUE(await([&] {
        return volume->callCount(QStringLiteral("open /file")) ==
               volume->callCount(QStringLiteral("release /file"));
    }));
}
