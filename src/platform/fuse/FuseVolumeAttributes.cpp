// Listings, attributes and the figures of the volume.

#include <algorithm>
#include <sys/statvfs.h>

#include <QDateTime>

#include "common/Log.h"
#include "common/Text.h"
#include "platform/fuse/FuseVolume.h"
#include "platform/fuse/HostErrno.h"
#include "platform/fuse/HostNames.h"

namespace {

// What programs buffer by; also the unit the kernel reads ahead.
constexpr blksize_t kPreferredSize = 128 * 1024;
constexpr qsizetype kMostLogged = 1000;

timespec timeOf(const AttributeMap &attributes, const QString &key, const timespec &otherwise) {
    const QDateTime date = attributes.value(key).toDateTime();
    if (!date.isValid())
        return otherwise;
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    const qint64 rest = ((milliseconds % 1000) + 1000) % 1000;
    return {.tv_sec = time_t((milliseconds - rest) / 1000), .tv_nsec = long(rest * 1'000'000)};
}

bool isDirectory(const AttributeMap &attributes) {
    return attributes.value(NSFileType).toString() == NSFileTypeDirectory;
}

// 0 leaves the type open, and programs ask for it if they need it.
mode_t typeBits(std::optional<bool> isKnownDirectory) {
    if (!isKnownDirectory)
        return 0;
    return *isKnownDirectory ? S_IFDIR : S_IFREG;
}

}  // namespace

int FuseVolume::attributesOf(const Item &item, std::shared_ptr<AttributeMap> *attributes) const {
    // Of a removed folder nothing is left to ask for.
    if (item.isOrphan && item.isFolder) {
        *attributes = std::make_shared<AttributeMap>();
        (*attributes)->insert(NSFileType, NSFileTypeDirectory);
        return 0;
    }
    std::optional<Error> error;
    *attributes = delegate->attributesOfItemAtPath(item.path, item.data, &error);
    if (*attributes)
        return 0;
    return hostErrno(error);
}

int FuseVolume::getattr(const char *kernelPath, struct stat *status, fuse_file_info *info) {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    std::shared_ptr<AttributeMap> attributes;
    const int code = attributesOf(item, &attributes);
    // A missing item in a folder that can't be written is reported as EROFS, which tells a create
    // what it needs to know. To stat(2) it is just missing.
    if (code != 0)
        return code == EROFS ? -ENOENT : -code;
    fillStatus(item, *attributes, status);
    // Its date changes once more when the file is released. A program told the old one until then
    // would take its own save for somebody else's.
    config->attr_timeout = isOpenForWriting(item.path) ? 0 : options.attrTimeout;
    return 0;
}

bool FuseVolume::isOpenForWriting(const QString &path) const {
    return std::any_of(handles.begin(), handles.end(), [&](const auto &handle) {
        return handle.second.isWritten && handle.second.path == path;
    });
}

void FuseVolume::fillStatus(const Item &item, const AttributeMap &attributes,
                            struct stat *status) const {
    const bool isFolder = isDirectory(attributes);
    // Not NSFilePosixPermissions: no server keeps a mode, and one that falls back after seconds
    // looks like somebody's change (to git, of every file). That chmod has no effect, programs
    // know.
    status->st_mode = (isFolder ? S_IFDIR : S_IFREG) | defaultMode;
    // Not the number of a new item of that name: by it programs see that a file was replaced.
    status->st_ino = item.isOrphan ? ~inodeNumber(item.path) : inodeNumber(item.path);
    // A folder's link count of 1 tells programs that it doesn't count its subfolders; with 2, some
    // would conclude there are none.
    status->st_nlink = item.isOrphan ? 0 : 1;
    status->st_uid = ::getuid();
    status->st_gid = ::getgid();
    status->st_size = isFolder ? 0 : std::max(0LL, attributes.value(NSFileSize).toLongLong());
    status->st_blocks = (status->st_size + 511) / 512;
    status->st_blksize = kPreferredSize;

    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    status->st_mtim = timeOf(attributes, NSFileModificationDate, now);
    status->st_atim = timeOf(attributes, kGMUserFileSystemFileAccessDateKey, status->st_mtim);
    status->st_ctim = timeOf(attributes, kGMUserFileSystemFileChangeDateKey, status->st_mtim);
}

bool FuseVolume::isUnfit(const QString &folder, const QString &name) {
    if (nameForKernel(name))
        return false;
    const QString path = childPath(folder, name);
    if (unfitPaths.size() < kMostLogged && !unfitPaths.contains(path)) {
        unfitPaths.insert(path);
        VDLog(localizedText("GMUserFileSystem_UnfitName", folder, name));
    }
    return true;
}

int FuseVolume::opendir(const char *kernelPath, fuse_file_info *info) {
    Item folder{.isFolder = true};
    if (const int code = pathFromKernel(kernelPath, &folder.path))
        return -code;
    keepHandle(std::move(folder), info);
    return 0;
}

int FuseVolume::readdir(const char *kernelPath, void *buffer, fuse_fill_dir_t fill, off_t,
                        fuse_file_info *info, fuse_readdir_flags) {
    constexpr fuse_fill_dir_flags kNoFlags{};
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    if (item.isOrphan)
        return 0;
    const QString path = item.path;
    std::optional<Error> error;
    const std::optional<QStringList> names = delegate->contentsOfDirectoryAtPath(path, &error);
    if (!names)
        return -hostErrno(error);

    struct stat folder {};
    folder.st_ino = inodeNumber(path);
    folder.st_mode = S_IFDIR;
    fill(buffer, ".", &folder, 0, kNoFlags);
    fill(buffer, "..", &folder, 0, kNoFlags);
    QSet<QString> listed;
    for (const QString &name : *names) {
        if (isUnfit(path, name))
            continue;
        const QString composed = name.normalized(QString::NormalizationForm_C);
        if (listed.contains(composed))
            continue;
        listed.insert(composed);
        const QString child = childPath(path, composed);
        struct stat status {};
        status.st_ino = inodeNumber(child);
        status.st_mode = typeBits(delegate->isKnownDirectory(child));
        if (fill(buffer, composed.toUtf8().constData(), &status, 0, kNoFlags) != 0)
            return -ENOMEM;
    }
    return 0;
}

int FuseVolume::statfs(const char *kernelPath, struct statvfs *status) {
    constexpr quint64 kBlock = 4096;
    constexpr fsfilcnt_t kManyFiles = 1'000'000'000;

    QString path;
    if (const int code = pathFromKernel(kernelPath, &path))
        return -code;
    std::optional<Error> error;
    AttributeMap figures = delegate->attributesOfFileSystemForPath(path, &error);
    if (!figures.contains(NSFileSystemSize) && path != QLatin1String("/"))
        figures = delegate->attributesOfFileSystemForPath(QStringLiteral("/"), &error);
    const bool isKnown = figures.contains(NSFileSystemSize);

    *status = {};
    status->f_bsize = kBlock;
    status->f_frsize = kBlock;
    status->f_blocks =
        (isKnown ? figures[NSFileSystemSize].toULongLong() : kUnknownVolumeSize) / kBlock;
    status->f_bfree =
        (isKnown ? figures[NSFileSystemFreeSize].toULongLong() : kUnknownVolumeSize) / kBlock;
    status->f_bavail = status->f_bfree;
    status->f_files = kManyFiles;
    status->f_ffree = kManyFiles;
    status->f_favail = kManyFiles;
    status->f_namemax = kLongestName;
    return 0;
}

int FuseVolume::getxattr(const char *kernelPath, const char *name, char *value, size_t size) {
    QString path;
    if (const int code = pathFromKernel(kernelPath, &path))
        return -code;
    std::optional<Error> error;
    const std::optional<QByteArray> data =
        delegate->valueOfExtendedAttribute(QString::fromUtf8(name), path, 0, &error);
    if (!data) {
        const int code = error ? hostErrno(error) : ENODATA;
        // The kernel asks for this one before every write, and once told that there is no such
        // operation it asks for none of them any more.
        const bool isAskedOnWriting = qstrcmp(name, "security.capability") == 0;
        return isAskedOnWriting && code == EOPNOTSUPP ? -ENOSYS : -code;
    }
    if (size == 0)
        return int(data->size());
    if (size < size_t(data->size()))
        return -ERANGE;
    std::copy(data->begin(), data->end(), value);
    return int(data->size());
}

int FuseVolume::listxattr(const char *, char *, size_t) {
    return 0;
}

int FuseVolume::setxattr(const char *, const char *, const char *, size_t, int) {
    return -EOPNOTSUPP;
}

int FuseVolume::removexattr(const char *, const char *) {
    return -EOPNOTSUPP;
}
