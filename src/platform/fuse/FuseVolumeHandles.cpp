// Open files: reading, writing, their size, their release.

#include <fcntl.h>

#include "platform/fuse/FuseVolume.h"
#include "platform/fuse/HostErrno.h"
#include "platform/fuse/HostNames.h"

int FuseVolume::open(const char *kernelPath, fuse_file_info *info) {
    QString path;
    if (const int code = pathFromKernel(kernelPath, &path))
        return -code;
    return -openPath(path, info);
}

int FuseVolume::openPath(const QString &path, fuse_file_info *info) {
    const int mode = info->flags & O_ACCMODE;
    const bool truncates = info->flags & O_TRUNC;
    Item item{path, nullptr};
    std::optional<Error> error;
    if (!delegate->openFileAtPath(path, mode, &item.data, &error))
        return hostErrno(error);
    int code = 0;
    if (truncates)
        code = mode == O_RDONLY ? resizeByPath(path, 0) : resize(item, 0);
    if (code != 0) {
        delegate->releaseFileAtPath(path, item.data);
        return code;
    }
    keepHandle(path, std::move(item.data), info);
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
                                    info->flags, &item.data, &error))
        return -hostErrno(error);
    keepHandle(item.path, std::move(item.data), info);
    return 0;
}

// The kernel takes a short answer for the end of the file, so only the end may be short.
int FuseVolume::read(const char *, char *buffer, size_t size, off_t offset, fuse_file_info *info) {
    const Handle *handle = handleOf(info);
    if (!handle)
        return -EBADF;
    const Item item{handle->path, handle->data};
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

int FuseVolume::write(const char *, const char *buffer, size_t size, off_t offset,
                      fuse_file_info *info) {
    const Handle *handle = handleOf(info);
    if (!handle)
        return -EBADF;
    const Item item{handle->path, handle->data};
    // The kernel appends at the end it remembers, which the server may have moved. Pages of a
    // mapping know their place.
    if ((info->flags & O_APPEND) && !info->writepage) {
        if (const int code = endOf(item, &offset))
            return -code;
    }
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
// the new size cuts.
int FuseVolume::resize(const Item &item, off_t size) const {
    std::optional<Error> error;
    if (delegate->writeFileAtPath(item.path, item.data, "", 0, 0, &error) < 0)
        return hostErrno(error);
    error.reset();
    const bool succeeded =
        delegate->setAttributes({{NSFileSize, qlonglong(size)}}, item.path, item.data, &error);
    // A failure to fill the file may come along with a success.
    return succeeded && !error ? 0 : hostErrno(error);
}

int FuseVolume::resizeByPath(const QString &path, off_t size) const {
    Item item{path, nullptr};
    std::optional<Error> error;
    if (!delegate->openFileAtPath(path, O_WRONLY, &item.data, &error))
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

int FuseVolume::fsync(const char *, int, fuse_file_info *info) {
    const Handle *handle = handleOf(info);
    if (!handle)
        return -EBADF;
    const Item item{handle->path, handle->data};
    std::optional<Error> error;
    return delegate->synchronizeFileAtPath(item.path, item.data, &error) ? 0 : -hostErrno(error);
}

int FuseVolume::release(const char *, fuse_file_info *info) {
    const auto found = handles.extract(info->fh);
    if (found)
        delegate->releaseFileAtPath(found.mapped().path, found.mapped().data);
    return 0;
}
