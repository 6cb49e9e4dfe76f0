#include <QCoreApplication>

#include "FuseMountFixture.h"

using testing::HasSubstr;

namespace {

std::string mountLine(const QString &path) {
    QFile table("/proc/self/mountinfo");
    if (!table.open(QIODevice::ReadOnly))
        return {};
    QByteArray found;
    for (const QByteArray &line : table.readAll().split('\n')) {
        if (line.contains(' ' + path.toUtf8() + ' '))
            found = line;
    }
    return found.toStdString();
}

}  // namespace

class GMUserFileSystemMount : public FuseMountFixture<FuseMemoryVolume> {};

TEST_F(GMUserFileSystemMount, removesTheFolderItMadeAndNoOther) {
    for (const bool wasThere : {false, true}) {
        ASSERT_TRUE(!wasThere || QDir().mkdir(root));
        mount();
        EXPECT_TRUE(host->isMounted());
        const std::string line = mountLine(root);
        EXPECT_THAT(line, HasSubstr("fuse.velmoradisk A,\\040\\134B "));
        EXPECT_THAT(line, HasSubstr("default_permissions"));
        EXPECT_THAT(line, Not(HasSubstr("allow_other")));
        EXPECT_EQ(volume->calls().first(), "willMount");

        EXPECT_TRUE(host->unmount());
        host->waitUntilEnded();
        expectUnmounted();
        EXPECT_FALSE(host->isMounted());
        EXPECT_EQ(volume->calls().last(), "willUnmount");
        EXPECT_EQ(mountLine(root), "");
        EXPECT_EQ(QFileInfo::exists(root), wasThere);
    }
}

TEST_F(GMUserFileSystemMount, refusesUnusableMountPoints) {
    QFile file(folder.filePath("file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_TRUE(QDir().mkpath(folder.filePath("full/content")));
    const struct {
        QString path;
        int code;
        const char *text;
    } rows[] = {
        {folder.filePath("missing/disk"), ENOENT, "ParentMissing"},
        {folder.filePath("file/disk"), ENOTDIR, "ParentMissing"},
        {folder.filePath("file"), ENOTDIR, "NotFolder"},
        {folder.filePath("full"), ENOTEMPTY, "NotEmpty"},
        {"relative", EINVAL, "NotAbsolute"},
        {"/", EBUSY, "AlreadyMounted"},
        {"/proc/disk", ENOENT, "CannotMakeFolder"},
    };
    for (const auto &row : rows) {
        root = row.path;
        start();
        expectFailure(row.code, row.text);
    }
    root = folder.filePath("disk");
}

TEST_F(GMUserFileSystemMount, leavesADeadMountOfAnotherProgram) {
    if (::geteuid() != 0)
        return;  // only root can make one
    ASSERT_TRUE(QDir().mkdir(root));
    const int device = ::open("/dev/fuse", O_RDWR);
    const std::string options =
        "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
    ASSERT_EQ(::mount("left", SystemPath(root), "fuse.other", 0, options.c_str()), 0);
    ::close(device);
    start();
    expectFailure(EBUSY, "DeadMount");
    EXPECT_NE(mountLine(root), "");
}

TEST_F(GMUserFileSystemMount, refusesWithoutTheRightToTheDeviceOrTheHelperForIt) {
    const bool mayUseDevice = ::access("/dev/fuse", R_OK | W_OK) == 0;
    if (::geteuid() == 0)
        return;  // the ordinary user below gets here
    const QByteArray search = qgetenv("PATH");
    if (mayUseDevice)
        qputenv("PATH", "/nowhere");
    start();
    expectFailure(mayUseDevice ? ENOENT : EACCES,
                  mayUseDevice ? "HelperMissing" : "DeviceForbidden");
    qputenv("PATH", search);
    EXPECT_FALSE(QFileInfo::exists(root));
}

TEST_F(GMUserFileSystemMount, endsAMountThatIsStoppedBeforeItAnswers) {
    start();
    host->unmount();
    host->waitUntilEnded();
    const Event event = nextEvent();
    EXPECT_EQ(mountLine(root), "");
    if (event.notification == Notification::kGMUserFileSystemMountFailed) {
        EXPECT_EQ(event.error->code, ECANCELED);
    }
}

// Some of these tests again, as a user who needs fusermount3: with a device of its own that
// everybody may use, and with one that nobody may, in a mount namespace of their own. The thread
// sanitizer is off there: it can't follow how Qt starts fusermount3.
TEST(GMUserFileSystemAsOrdinaryUser, passes) {
    if (::geteuid() != 0)
        return;
    const std::pair<const char *, const char *> rows[] = {
        {"666", "GMUserFileSystemMount.*:*Unmount.every*:*Unmount.forced*:*Unmount.lazily*"},
        {"600", "GMUserFileSystemMount.refusesWithoutTheRight*"},
    };
    for (const auto &[mode, tests] : rows) {
        const QString script =
            QString(
                "mount --make-rprivate /; d=$(mktemp -d); mount -t tmpfs -o dev tmpfs $d; "
                "mknod -m %1 $d/fuse c 10 229; mount --bind $d/fuse /dev/fuse; umount -l $d; "
                "rmdir $d; unset TMPDIR; cd /; "
                "export TSAN_OPTIONS=report_bugs=0:die_after_fork=0; exec setpriv "
                "--reuid=65534 --regid=65534 --clear-groups %3 --gtest_filter=\"%2\"")
                .arg(mode, tests, QCoreApplication::applicationFilePath());
        const CommandResult result =
            runCommand(QString("timeout 60 unshare --mount sh -e -c '%1'").arg(script));
        EXPECT_EQ(result.code, 0) << result.output.constData();
        EXPECT_TRUE(result.output.contains("[       OK ]")) << result.output.constData();
    }
}
