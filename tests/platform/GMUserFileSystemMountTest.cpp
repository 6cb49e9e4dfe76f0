#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QRegularExpression>

#include "FuseMountFixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

QByteArray mountLine(const QString &path) {
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return {};
    QByteArray found;
    for (const QByteArray &line : table.readAll().split('\n')) {
        if (line.contains(' ' + path.toUtf8() + ' '))
            found = line;
    }
    return found;
}

bool isRoot() {
    return ::geteuid() == 0;
}

// A mount whose program is gone, as a crash leaves it.
void leaveDeadMount(const QString &path, const char *type) {
    ASSERT_EQ(::mkdir(SystemPath(path), 0755), 0);
    const int device = ::open("/dev/fuse", O_RDWR);
    const QByteArray options =
        "fd=" + QByteArray::number(device) + ",rootmode=40000,user_id=0,group_id=0";
    ASSERT_EQ(::mount("left", SystemPath(path), type, 0, options.constData()), 0);
    ::close(device);
    struct stat status {};
    ASSERT_EQ(failureOf(::stat(SystemPath(path), &status)), ENOTCONN);
}

}  // namespace

class GMUserFileSystemMount : public FuseMountFixture<FuseMemoryVolume> {};

TEST_F(GMUserFileSystemMount, makesItsFolderAndRemovesIt) {
    mount();
    EXPECT_TRUE(host->isMounted());
    const QByteArray line = mountLine(root);
    EXPECT_THAT(line.toStdString(), HasSubstr("fuse.velmoradisk A,\\040\\134B "));
    EXPECT_THAT(line.toStdString(), HasSubstr("default_permissions"));
    EXPECT_FALSE(line.contains("allow_other"));
    EXPECT_EQ(volume->calls().first(), QStringLiteral("willMount"));

    EXPECT_TRUE(host->unmount());
    host->waitUntilEnded();
    EXPECT_EQ(awaitEvent(1), Notification::kGMUserFileSystemDidUnmount);
    EXPECT_FALSE(host->isMounted());
    EXPECT_EQ(volume->calls().last(), QStringLiteral("willUnmount"));
    EXPECT_FALSE(QFileInfo::exists(root));
}

TEST_F(GMUserFileSystemMount, leavesAFolderThatWasThere) {
    ASSERT_TRUE(QDir().mkdir(root));
    mount();
    host.reset();
    EXPECT_TRUE(QFileInfo(root).isDir());
    EXPECT_TRUE(mountLine(root).isEmpty());
}

TEST_F(GMUserFileSystemMount, refusesUnusableMountPoints) {
    QFile file(folder.filePath(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_TRUE(QDir().mkpath(folder.filePath(QStringLiteral("full/content"))));
    const struct {
        QString path;
        int code;
        const char *text;
    } rows[] = {
        {folder.filePath(QStringLiteral("missing/disk")), ENOENT, "ParentMissing"},
        {folder.filePath(QStringLiteral("file/disk")), ENOTDIR, "ParentMissing"},
        {folder.filePath(QStringLiteral("file")), ENOTDIR, "NotFolder"},
        {folder.filePath(QStringLiteral("full")), ENOTEMPTY, "NotEmpty"},
        {QStringLiteral("relative"), EINVAL, "NotAbsolute"},
        {QStringLiteral("/"), EBUSY, "AlreadyMounted"},
        {QStringLiteral("/proc"), EBUSY, "AlreadyMounted"},
        {QStringLiteral("/proc/disk"), ENOENT, "CannotMakeFolder"},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        root = rows[i].path;
        start();
        ASSERT_EQ(awaitEvent(i), Notification::kGMUserFileSystemMountFailed);
        EXPECT_EQ(eventError(i)->code, rows[i].code) << output(i);
        EXPECT_THAT(output(i), HasSubstr(rows[i].text));
        host->waitUntilEnded();
        EXPECT_FALSE(host->isMounted());
    }
    root = folder.filePath(QStringLiteral("disk"));
}

TEST_F(GMUserFileSystemMount, refusesAFolderWithALiveMount) {
    mount();
    auto second = std::make_shared<FuseMemoryVolume>();
    std::atomic<int> code = 0;
    const int subscription =
        GMUserFileSystem::subscribe([&](Notification notification, const GMUserFileSystem *sender,
                                        const std::optional<Error> &error) {
            if (sender->serves(second.get()) &&
                notification == Notification::kGMUserFileSystemMountFailed)
                code = error->code;
        });
    GMUserFileSystem other(second, false);
    other.mountAtPath(root, {}, true, true);
    other.waitUntilEnded();
    GMUserFileSystem::unsubscribe(subscription);
    EXPECT_EQ(code, EBUSY);
    EXPECT_EQ(statusError(QStringLiteral("/")), 0);
}

TEST_F(GMUserFileSystemMount, clearsItsDeadMountsAndNoOthers) {
    if (!isRoot())
        return;  // the ordinary user below gets here
    leaveDeadMount(root, "fuse.velmoradisk");
    volume->addFile(QStringLiteral("/file"), "alive");
    mount();
    EXPECT_EQ(contentAt(QStringLiteral("/file")), "alive");
    host.reset();
    EXPECT_TRUE(mountLine(root).isEmpty());

    root = folder.filePath(QStringLiteral("foreign"));
    leaveDeadMount(root, "fuse.other");
    start();
    ASSERT_EQ(awaitEvent(2), Notification::kGMUserFileSystemMountFailed);
    EXPECT_EQ(eventError(2)->code, EBUSY);
    EXPECT_FALSE(mountLine(root).isEmpty());
}

TEST_F(GMUserFileSystemMount, refusesWithoutTheRightToTheDevice) {
    if (::access("/dev/fuse", R_OK | W_OK) == 0)
        return;  // the ordinary user below gets here
    start();
    ASSERT_EQ(awaitEvent(0), Notification::kGMUserFileSystemMountFailed);
    EXPECT_EQ(eventError(0)->code, EACCES);
    EXPECT_THAT(output(0), HasSubstr("DeviceForbidden"));
    host->waitUntilEnded();
    EXPECT_FALSE(QFileInfo::exists(root));
}

TEST_F(GMUserFileSystemMount, refusesWithoutTheHelperOfOrdinaryUsers) {
    if (isRoot() || ::access("/dev/fuse", R_OK | W_OK) != 0)
        return;  // the ordinary user below gets here
    const QByteArray search = qgetenv("PATH");
    qputenv("PATH", "/nowhere");
    start();
    const auto event = awaitEvent(0);
    qputenv("PATH", search);
    ASSERT_EQ(event, Notification::kGMUserFileSystemMountFailed);
    EXPECT_EQ(eventError(0)->code, ENOENT);
    EXPECT_THAT(output(0), HasSubstr("HelperMissing"));
}

TEST_F(GMUserFileSystemMount, endsAMountThatIsStoppedBeforeItAnswers) {
    start();
    host->unmount();
    host->waitUntilEnded();
    const auto event = awaitEvent(0);
    EXPECT_TRUE(mountLine(root).isEmpty());
    if (event == Notification::kGMUserFileSystemMountFailed) {
        EXPECT_EQ(eventError(0)->code, ECANCELED);
    }
}

// The tests of this file and of the unmounts again, as a user who needs fusermount3: with a device
// of its own that everybody may use, and with one that nobody may, in a mount namespace of their
// own. The thread sanitizer is off there: it can't follow how Qt starts fusermount3.
class GMUserFileSystemAsOrdinaryUser
    : public testing::TestWithParam<std::pair<const char *, const char *>> {};

TEST_P(GMUserFileSystemAsOrdinaryUser, passes) {
    if (!isRoot())
        return;  // the ordinary user below gets here
    const auto [mode, tests] = GetParam();
    const QString script =
        QStringLiteral(
            "mount --make-rprivate /; d=$(mktemp -d); mount -t tmpfs -o dev tmpfs $d; "
            "mknod -m %1 $d/fuse c 10 229; mount --bind $d/fuse /dev/fuse; umount -l $d; rmdir $d; "
            "unset TMPDIR; cd /; export TSAN_OPTIONS=report_bugs=0:die_after_fork=0; "
            "exec setpriv --reuid=65534 --regid=65534 --clear-groups %3 --gtest_filter=%2")
            .arg(QString::fromLatin1(mode), QString::fromLatin1(tests),
                 QCoreApplication::applicationFilePath());
    const CommandResult result =
        runCommand(QStringLiteral("timeout 60 unshare --mount sh -e -c '%1'").arg(script));
    EXPECT_EQ(result.code, 0) << result.output.constData();
    const auto passed = QRegularExpression(QStringLiteral("\\[  PASSED  \\] (\\d+)"))
                            .match(QString::fromUtf8(result.output));
    EXPECT_GE(passed.captured(1).toInt(), 1) << result.output.constData();
}

INSTANTIATE_TEST_SUITE_P(
    Devices, GMUserFileSystemAsOrdinaryUser,
    testing::Values(std::pair("666",
                              "GMUserFileSystemMount.*:GMUserFileSystemRead.runs*:"
                              "GMUserFileSystemUnmount.plain*:"
                              "GMUserFileSystemUnmount.forced*:"
                              "GMUserFileSystemUnmount.leaves*:*Ways*/outsideLazily"),
                    std::pair("600", "GMUserFileSystemMount.refusesWithoutTheRight*")));
