#include "platform/fuse/KernelMount.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include "common/Text.h"
#include "platform/fuse/HostNames.h"
#include "platform/fuse/MountTable.h"

const QByteArray KernelMount::kType = "fuse.velmoradisk";

namespace {

constexpr const char *kDevice = "/dev/fuse";
constexpr int kHelperTimeout = 30'000;  // ms

Error failure(int code, const char *textKey, const QString &path, const QString &reason = {}) {
    const QString text =
        reason.isNull() ? localizedText(textKey, path) : localizedText(textKey, path, reason);
    return Error::errorWithPOSIXCode(code, {{QStringLiteral("OUTPUT"), text}});
}

Error systemFailure(int code, const QString &path) {
    return failure(code, "GMUserFileSystem_Unusable", path, qt_error_string(code));
}

// Resolved without the last component, which may be missing or a mount that no longer answers.
std::optional<QByteArray> resolvedFolder(const QString &path, ErrorOut error) {
    const QFileInfo info(QDir::cleanPath(path));
    if (!info.isAbsolute()) {
        setError(error, failure(EINVAL, "GMUserFileSystem_NotAbsolute", path));
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&std::free)> parent(
        ::realpath((QFile::encodeName(info.path()) + "/.").constData(), nullptr), &std::free);
    if (!parent) {
        setError(error, errno == ENOENT || errno == ENOTDIR
                            ? failure(errno, "GMUserFileSystem_ParentMissing", path, info.path())
                            : systemFailure(errno, path));
        return std::nullopt;
    }
    const QByteArray folder =
        QFile::encodeName(childPath(QFile::decodeName(parent.get()), info.fileName()));
    const std::unique_ptr<char, decltype(&std::free)> target(
        ::realpath(folder.constData(), nullptr), &std::free);
    return target ? QByteArray(target.get()) : folder;
}

struct HelperResult {
    bool succeeded = false;
    QString message;
};

// Runs the program that mounts and unmounts for users without the right to do it themselves. The
// inherited descriptor stays open in it.
HelperResult runHelper(const QStringList &arguments, int inheritedDescriptor = -1) {
    QProcess helper;
    helper.setProgram(QStringLiteral("fusermount3"));
    helper.setArguments(arguments);
    helper.setProcessChannelMode(QProcess::MergedChannels);
    if (inheritedDescriptor >= 0) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("_FUSE_COMMFD"), QString::number(inheritedDescriptor));
        helper.setProcessEnvironment(environment);
        helper.setChildProcessModifier(
            [inheritedDescriptor] { ::fcntl(inheritedDescriptor, F_SETFD, 0); });
    }
    helper.start();
    const bool finished = helper.waitForFinished(kHelperTimeout);
    if (!finished)
        return {false, helper.errorString()};
    return {helper.exitStatus() == QProcess::NormalExit && helper.exitCode() == 0,
            QString::fromLocal8Bit(helper.readAll()).trimmed()};
}

// 0 or an errno; EBUSY also where another mount covers this one.
int unmountFolder(const QByteArray &folder, const QByteArray &device, bool lazily) {
    const std::optional<MountEntry> shown = mountEntryAt(folder);
    if (!shown || shown->device != device)
        return isMounted(device) ? EBUSY : 0;
    if (::umount2(folder.constData(), UMOUNT_NOFOLLOW | (lazily ? MNT_DETACH : 0)) == 0)
        return 0;
    if (errno != EPERM)
        return errno;
    QStringList arguments{QStringLiteral("-u"), QStringLiteral("--"), QFile::decodeName(folder)};
    if (lazily)
        arguments.insert(1, QStringLiteral("-z"));
    if (runHelper(arguments).succeeded || !isMounted(device))
        return 0;
    return lazily ? EPERM : EBUSY;
}

// A mount whose program is gone answers everything with ENOTCONN.
bool isDead(const QByteArray &folder) {
    struct stat status {};
    return ::stat(folder.constData(), &status) < 0 && errno == ENOTCONN;
}

bool isOwnMount(const MountEntry &entry) {
    return entry.type == KernelMount::kType &&
           entry.hasOption("user_id=" + QByteArray::number(::getuid()));
}

bool clearDeadMounts(const QByteArray &folder, ErrorOut error) {
    const QString name = QFile::decodeName(folder);
    while (const std::optional<MountEntry> entry = mountEntryAt(folder)) {
        if (!isDead(folder)) {
            setError(error, failure(EBUSY, "GMUserFileSystem_AlreadyMounted", name));
            return false;
        }
        const int code = isOwnMount(*entry) ? unmountFolder(folder, entry->device, true) : EBUSY;
        if (code != 0) {
            setError(error, failure(code, "GMUserFileSystem_DeadMount", name));
            return false;
        }
    }
    return true;
}

bool makeFolder(const QByteArray &folder, ErrorOut error) {
    if (::mkdir(folder.constData(), 0755) == 0)
        return true;
    const int code = errno;
    setError(error, failure(code, "GMUserFileSystem_CannotMakeFolder", QFile::decodeName(folder),
                            qt_error_string(code)));
    return false;
}

bool checkFolder(const QByteArray &folder, ErrorOut error) {
    const QString name = QFile::decodeName(folder);
    const std::filesystem::path path(folder.toStdString());
    std::error_code code;
    if (!std::filesystem::is_directory(path, code)) {
        setError(error, code ? systemFailure(code.value(), name)
                             : failure(ENOTDIR, "GMUserFileSystem_NotFolder", name));
        return false;
    }
    const bool isEmpty = std::filesystem::is_empty(path, code);
    if (isEmpty && !code)
        return true;
    setError(error, code ? systemFailure(code.value(), name)
                         : failure(ENOTEMPTY, "GMUserFileSystem_NotEmpty", name));
    return false;
}

// Opening the device is what tells a missing module from a missing right.
int openDevice(const QByteArray &folder, ErrorOut error) {
    const int device = ::open(kDevice, O_RDWR | O_CLOEXEC);
    if (device >= 0)
        return device;
    const int code = errno;
    const bool isForbidden = code == EACCES || code == EPERM;
    setError(error, failure(code,
                            isForbidden ? "GMUserFileSystem_DeviceForbidden"
                                        : "GMUserFileSystem_DeviceMissing",
                            QFile::decodeName(folder), QString::fromLatin1(kDevice)));
    return -1;
}

int mountByKernel(const QByteArray &folder, const QString &fsname, ErrorOut error) {
    const int device = openDevice(folder, error);
    if (device < 0)
        return -1;
    const QByteArray data = "fd=" + QByteArray::number(device) +
                            ",rootmode=40000,user_id=" + QByteArray::number(::getuid()) +
                            ",group_id=" + QByteArray::number(::getgid()) + ",default_permissions";
    if (::mount(fsname.toUtf8().constData(), folder.constData(), KernelMount::kType.constData(),
                MS_NOSUID | MS_NODEV, data.constData()) == 0)
        return device;
    const int code = errno;
    ::close(device);
    setError(error, failure(code, "GMUserFileSystem_Refused", QFile::decodeName(folder),
                            qt_error_string(code)));
    return -1;
}

int receiveDescriptor(int socket) {
    char byte = 0;
    iovec data{&byte, sizeof byte};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (::recvmsg(socket, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT) <= 0)
        return -1;
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (!header || header->cmsg_type != SCM_RIGHTS)
        return -1;
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    return descriptor;
}

// A comma would end the option, a backslash would vanish.
QString optionText(QString text) {
    return text.replace(u'\\', QStringLiteral("\\\\")).replace(u',', QStringLiteral("\\,"));
}

int mountByHelper(const QByteArray &folder, const QString &fsname, ErrorOut error) {
    const QString name = QFile::decodeName(folder);
    if (QStandardPaths::findExecutable(QStringLiteral("fusermount3")).isEmpty()) {
        setError(error, failure(ENOENT, "GMUserFileSystem_HelperMissing", name));
        return -1;
    }
    const int device = openDevice(folder, error);
    if (device < 0)
        return -1;
    ::close(device);
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) < 0) {
        setError(error, systemFailure(errno, name));
        return -1;
    }
    const QString subtype = QString::fromLatin1(KernelMount::kType).section(u'.', 1);
    const HelperResult result =
        runHelper({QStringLiteral("-o"),
                   QStringLiteral("fsname=%1,subtype=%2,default_permissions")
                       .arg(optionText(fsname), subtype),
                   QStringLiteral("--"), name},
                  sockets[0]);
    const int connection = result.succeeded ? receiveDescriptor(sockets[1]) : -1;
    ::close(sockets[0]);
    ::close(sockets[1]);
    if (connection < 0)
        setError(error, failure(EPERM, "GMUserFileSystem_Refused", name, result.message));
    return connection;
}

}  // namespace

std::unique_ptr<KernelMount> KernelMount::mountAtPath(const QString &path, const QString &fsname,
                                                      ErrorOut error) {
    const std::optional<QByteArray> folder = resolvedFolder(path, error);
    if (!folder || !clearDeadMounts(*folder, error))
        return nullptr;

    std::unique_ptr<KernelMount> mount(new KernelMount);
    mount->folder = *folder;
    struct stat status {};
    if (::lstat(folder->constData(), &status) < 0 && errno == ENOENT) {
        if (!makeFolder(*folder, error))
            return nullptr;
        mount->folderWasMade = true;
    }
    const auto mountNow = ::geteuid() == 0 ? &mountByKernel : &mountByHelper;
    if (checkFolder(*folder, error))
        mount->connection = mountNow(*folder, fsname, error);
    if (mount->connection < 0) {
        mount->removeMadeFolder();
        return nullptr;
    }
    if (const std::optional<MountEntry> entry = mountEntryAt(*folder))
        mount->device = entry->device;
    return mount;
}

KernelMount::~KernelMount() {
    if (connection >= 0)
        ::close(connection);
}

int KernelMount::takeConnection() {
    return std::exchange(connection, -1);
}

bool KernelMount::isAttached() const {
    return isMounted(device);
}

int KernelMount::detach(bool lazily) const {
    return unmountFolder(folder, device, lazily);
}

void KernelMount::removeMadeFolder() {
    if (std::exchange(folderWasMade, false))
        ::rmdir(folder.constData());
}
