// Open files: reading, writing, their size, their release.

#include <algorithm>
#include <fcntl.h>
#include <utility>

#include "platform/fuse/FuseVolume.h"
#include "platform/fuse/HostErrno.h"
#include "platform/fuse/HostNames.h"

int FuseVolume::open(const char *kernelPath, fuse_file_info *info) {
    QString path;
    if (const int code = pathFromKernel(kernelPath, &path))
        return -code;
    // Without it the kernel's pages of the file go with this open. libfuse looks at it afterwards.
    config->auto_cache = !wrongPages.remove(path);
    return -openPath(path, info);
}

int FuseVolume::openPath(const QString &path, fuse_file_info *info) {
    Item item{.path = path};
    std::optional<Error> error;
    if (!delegate->openFileAtPath(path, info->flags, &item.data, &error))
        return hostErrno(error);
    int code = 0;
    if (info->flags & O_TRUNC)
        code = (info->flags & O_ACCMODE) == O_RDONLY ? resizeByPath(path, 0) : resize(item, 0);
    if (code != 0) {
        delegate->releaseFileAtPath(path, item.data);
        return code;
    }
    item.isWritten = (info->flags & O_ACCMODE) != O_RDONLY;
    keepHandle(std::move(item), info);
    return 0;
}

int FuseVolume::create(const char *kernelPath, mode_t mode, fuse_file_info *info) {
    Item item;
    if (const int code = pathFromKernel(kernelPath, &item.path))
        return -code;
    // The delegate counts on having been asked for the name just before; the kernel may have known
    // it missing for a while.
    std::shared_ptr<AttributeMap> attributes;
    const int code = attributesOf(item, &attributes);
    if (code == 0)
        return info->flags & O_EXCL ? -EEXIST : -openPath(item.path, info);
    if (code != ENOENT)
        return -code;
    std::optional<Error> error;
    if (!delegate->createFileAtPath(item.path, {{NSFilePosixPermissions, mode & 07777}},
                                    info->flags, &item.data, &error)) {
        const int failure = hostErrno(error);
        // Somebody else made it in between.
        if (failure == EEXIST && !(info->flags & O_EXCL))
            return -openPath(item.path, info);
        return -failure;
    }
    item.isWritten = true;
    keepHandle(std::move(item), info);
    return 0;
}

// The kernel takes a short answer for the end of the file, so only the end may be short.
int FuseVolume::read(const char *kernelPath, char *buffer, size_t size, off_t offset,
                     fuse_file_info *info) {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    size_t done = 0;
    while (done < size) {
        std::optional<Error> error;
        const int count = delegate->readFileAtPath(item.path, item.data, buffer + done, size - done,
                                                   offset + off_t(done), &error);
        if (count < 0)
            return -hostErrno(error);
        if (count == 0)
            break;
        done += size_t(count);
    }
    return int(done);
}

int FuseVolume::write(const char *kernelPath, const char *buffer, size_t size, off_t offset,
                      fuse_file_info *info) {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    // The kernel appends at the end it remembers, which the server may have moved; what is known
    // here may be old as well until the first write has fetched the content. Pages of a mapping
    // know their place.
    if ((info->flags & O_APPEND) && !info->writepage) {
        if (const int code = writeAt(item, "", 0, 0); code < 0)
            return code;
        if (const int code = endOf(item, &offset))
            return -code;
    }
    return writeAt(item, buffer, size, offset);
}

int FuseVolume::writeAt(const Item &item, const char *buffer, size_t size, off_t offset) const {
    std::optional<Error> error;
    const int count = delegate->writeFileAtPath(item.path, item.data, buffer, size, offset, &error);
    return count < 0 ? -hostErrno(error) : count;
}

int FuseVolume::endOf(const Item &item, off_t *end) const {
    std::shared_ptr<AttributeMap> attributes;
    if (const int code = attributesOf(item, &attributes))
        return code;
    *end = off_t(attributes->value(NSFileSize).toLongLong());
    return 0;
}

// A change of size alone doesn't count as a change of the content for the delegate and would never
// be uploaded; writing nothing makes it one. It comes first, as it is what fetches the content that
// the new size cuts; but of a file that is emptied nothing is fetched.
int FuseVolume::resize(const Item &item, off_t size) const {
    const auto touch = [&] { return std::min(0, writeAt(item, "", 0, 0)); };
    const auto cut = [&] {
        std::optional<Error> error;
        const bool succeeded =
            delegate->setAttributes({{NSFileSize, qlonglong(size)}}, item.path, item.data, &error);
        // A failure to fill the file may come along with a success.
        return succeeded && !error ? 0 : -hostErrno(error);
    };
    if (const int failure = size == 0 ? cut() : touch())
        return -failure;
    return -(size == 0 ? touch() : cut());
}

int FuseVolume::resizeByPath(const QString &path, off_t size) const {
    Item item{.path = path};
    std::optional<Error> error;
    const int flags = size == 0 ? O_WRONLY | O_TRUNC : O_WRONLY;
    if (!delegate->openFileAtPath(path, flags, &item.data, &error))
        return hostErrno(error);
    const int code = resize(item, size);
    delegate->releaseFileAtPath(path, item.data);
    return code;
}

int FuseVolume::truncate(const char *kernelPath, off_t size, fuse_file_info *info) {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    return handleOf(info) ? -resize(item, size) : -resizeByPath(item.path, size);
}

// No server reserves space: of the file's length and content it is all true, of the disk's nothing.
int FuseVolume::fallocate(const char *kernelPath, int mode, off_t offset, off_t length,
                          fuse_file_info *info) {
    const bool keepsSize = mode & FALLOC_FL_KEEP_SIZE;
    const int action = mode & ~FALLOC_FL_KEEP_SIZE;
    const bool zeroes =
        action == FALLOC_FL_ZERO_RANGE || (action == FALLOC_FL_PUNCH_HOLE && keepsSize);
    if (action != 0 && !zeroes)
        return -EOPNOTSUPP;
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    off_t end = 0;
    if (const int code = endOf(item, &end))
        return -code;
    if (zeroes) {
        if (const int code = zero(item, offset, std::min(offset + length, end)))
            return -code;
    }
    return keepsSize || offset + length <= end ? 0 : -resize(item, offset + length);
}

int FuseVolume::zero(const Item &item, off_t offset, off_t end) const {
    constexpr off_t kPart = 1024 * 1024;
    const QByteArray zeros(std::clamp<off_t>(end - offset, 0, kPart), '\0');
    while (offset < end) {
        const auto size = size_t(std::min<off_t>(end - offset, zeros.size()));
        const int count = writeAt(item, zeros.constData(), size, offset);
        if (count <= 0)
            return count < 0 ? -count : EIO;
        offset += count;
    }
    return 0;
}

int FuseVolume::fsync(const char *kernelPath, int, fuse_file_info *info) {
    Item item;
    if (const int code = itemOf(kernelPath, info, &item))
        return -code;
    std::optional<Error> error;
    return delegate->synchronizeFileAtPath(item.path, item.data, &error) ? 0 : -hostErrno(error);
}

int FuseVolume::release(const char *, fuse_file_info *info) {
    const auto found = handles.extract(info->fh);
    nodes.forget(info->fh);
    if (!found || found.mapped().isFolder)
        return 0;
    const QString &path = found.mapped().path;
    delegate->releaseFileAtPath(path, found.mapped().data);
    if (delegate->tookBackWrites())
        wrongPages.insert(path);
    return 0;
}
