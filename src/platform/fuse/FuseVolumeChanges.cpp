// Changes of the tree and of attributes.

#include <QDateTime>

#include "platform/fuse/FuseVolume.h"
#include "platform/fuse/HostErrno.h"
#include "platform/fuse/HostNames.h"

namespace {

// An action on one path, as 0 or a negative errno.
template <typename Action>
int changePath(const char *kernelPath, Action action) {
    QString path;
    if (const int code = pathFromKernel(kernelPath, &path))
        return -code;
    std::optional<Error> error;
    return action(path, &error) ? 0 : -hostErrno(error);
}

bool isDirectory(const AttributeMap &attributes) {
    return attributes.value(NSFileType).toString() == NSFileTypeDirectory;
}

QDateTime dateOf(const timespec &time) {
    if (time.tv_nsec == UTIME_NOW)
        return QDateTime::currentDateTimeUtc();
    return QDateTime::fromMSecsSinceEpoch(qint64(time.tv_sec) * 1000 + time.tv_nsec / 1'000'000,
                                          Qt::UTC);
}

}  // namespace

int FuseVolume::mkdir(const char *kernelPath, mode_t mode) {
    return changePath(kernelPath, [&](const QString &path, ErrorOut error) {
        return delegate->createDirectoryAtPath(path, {{NSFilePosixPermissions, mode & 07777}},
                                               error);
    });
}

int FuseVolume::unlink(const char *kernelPath) {
    return changePath(kernelPath, [&](const QString &path, ErrorOut error) {
        if (!delegate->removeItemAtPath(path, error))
            return false;
        orphanHandles(path);
        return true;
    });
}

int FuseVolume::rmdir(const char *kernelPath) {
    return changePath(kernelPath, [&](const QString &path, ErrorOut error) {
        if (!delegate->removeDirectoryAtPath(path, error))
            return false;
        orphanHandles(path);
        return true;
    });
}

int FuseVolume::rename(const char *kernelFrom, const char *kernelTo, unsigned flags) {
    if (flags != 0 && flags != RENAME_NOREPLACE && flags != RENAME_EXCHANGE)
        return -EINVAL;
    QString from;
    QString to;
    if (const int code = pathFromKernel(kernelFrom, &from))
        return -code;
    if (const int code = pathFromKernel(kernelTo, &to))
        return -code;
    // Two spellings of one name.
    if (from == to)
        return flags & RENAME_NOREPLACE ? -EEXIST : 0;
    if (flags & RENAME_EXCHANGE)
        return -exchange(from, to);
    if (const int code = checkReplaceable(from, to, flags))
        return -code;
    std::optional<Error> error;
    if (!delegate->moveItemAtPath(from, to, &error))
        return -hostErrno(error);
    orphanHandles(to);
    moveHandles(from, to);
    if (wrongPages.remove(from))
        wrongPages.insert(to);
    return 0;
}

// The delegate exchanges files alone.
int FuseVolume::exchange(const QString &from, const QString &to) {
    for (const QString &path : {from, to}) {
        std::shared_ptr<AttributeMap> attributes;
        if (const int code = attributesOf({.path = path}, &attributes))
            return code == EROFS ? ENOENT : code;
        if (isDirectory(*attributes))
            return EINVAL;
    }
    std::optional<Error> error;
    if (!delegate->exchangeDataOfItemAtPath(from, to, &error))
        return hostErrno(error);
    for (auto &[number, handle] : handles) {
        if (!handle.isOrphan && (handle.path == from || handle.path == to))
            handle.path = handle.path == from ? to : from;
    }
    return 0;
}

int FuseVolume::checkReplaceable(const QString &from, const QString &to, unsigned flags) const {
    std::shared_ptr<AttributeMap> target;
    const int targetCode = attributesOf({.path = to}, &target);
    if (targetCode == ENOENT || targetCode == EROFS)
        return 0;
    if (targetCode != 0)
        return targetCode;
    if (flags & RENAME_NOREPLACE)
        return EEXIST;
    std::shared_ptr<AttributeMap> source;
    if (const int code = attributesOf({.path = from}, &source))
        return code;
    if (isDirectory(*source) && !isDirectory(*target))
        return ENOTDIR;
    return !isDirectory(*source) && isDirectory(*target) ? EISDIR : 0;
}

void FuseVolume::orphanHandles(const QString &path) {
    for (auto &[number, handle] : handles) {
        if (handle.isOrphan || handle.path != path)
            continue;
        handle.isOrphan = true;
        nodes.orphan(number);
    }
}

void FuseVolume::moveHandles(const QString &from, const QString &to) {
    const QString below = from + u'/';
    for (auto &[number, handle] : handles) {
        if (!handle.isOrphan && (handle.path == from || handle.path.startsWith(below)))
            handle.path = to + handle.path.mid(from.size());
    }
}

// Regular files come as a create.
int FuseVolume::mknod(const char *, mode_t, dev_t) {
    return -EPERM;
}

int FuseVolume::symlink(const char *, const char *) {
    return -EPERM;
}

int FuseVolume::link(const char *, const char *) {
    return -EPERM;
}

int FuseVolume::changeAttributes(const char *kernelPath, const AttributeMap &attributes,
                                 const fuse_file_info *info) const {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    std::optional<Error> error;
    return delegate->setAttributes(attributes, item.path, item.data, &error) ? 0
                                                                             : -hostErrno(error);
}

int FuseVolume::chmod(const char *kernelPath, mode_t mode, fuse_file_info *info) {
    return changeAttributes(kernelPath, {{NSFilePosixPermissions, mode & 07777}}, info);
}

// Everything belongs to the mounting user; a server account has no local number. Refusing would
// fail programs that keep owners as far as they can, as a copy or an unpacked archive of root's
// does.
int FuseVolume::chown(const char *, uid_t, gid_t, fuse_file_info *) {
    return 0;
}

int FuseVolume::utimens(const char *kernelPath, const timespec times[2], fuse_file_info *info) {
    AttributeMap attributes;
    if (times[0].tv_nsec != UTIME_OMIT)
        attributes.insert(kGMUserFileSystemFileAccessDateKey, dateOf(times[0]));
    if (times[1].tv_nsec != UTIME_OMIT)
        attributes.insert(NSFileModificationDate, dateOf(times[1]));
    return attributes.isEmpty() ? 0 : changeAttributes(kernelPath, attributes, info);
}
