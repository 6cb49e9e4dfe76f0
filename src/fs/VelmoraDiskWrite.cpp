// Writing. It always goes to the local copy, which first gets the server's content; the server sees
// nothing of it until the release.

#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <QElapsedTimer>

#include "cache/CacheController.h"
#include "cache/FileIdentifier.h"
#include "cache/MetaDataCache.h"
#include "cache/UnsentFiles.h"
#include "cache/VirtualStoreControler.h"
#include "common/LocalFileDates.h"
#include "fs/LocalCopy.h"
#include "fs/ServerVersion.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "model/WebDavResource.h"

namespace {

constexpr qint64 kCopyPiece = 65536;

// Whoever appends again and again has just sent what the server has.
bool isLocalVersion(const WebDavResourceCache &entry, int node) {
    const auto resource = entry.webDavResource();
    struct stat status {};
    return resource && !entry.localVersion.isEmpty() && entry.localVersion == resource->etag &&
           ::fstat(node, &status) == 0 && status.st_size == resource->fileSize;
}

}  // namespace

int VelmoraDisk::writeFileAtPath(const QString &path, const HandlePtr &userData, const char *buffer,
                                 size_t size, qint64 offset, ErrorOut error) {
    const auto fail = [error](int posix) {
        setError(error, Error::errorWithPOSIXCode(posix));
        return -1;
    };
    if (!userData)
        return fail(EIO);
    const Ticket ticket(*accessCol, path);
    const auto handle = std::static_pointer_cast<UserData>(userData);
    const EntryPtr entry = handle->webDavResouceCache;
    const std::lock_guard lock(entry->syncObj);
    if (const int code = withRoom(path, [&] { return prepareWriting(path, entry, *handle); }))
        return fail(code);
    ssize_t count = 0;
    const int code = withRoom(path, [&] {
        count = ::pwrite(entry->file_node, buffer, size, offset);
        return count < 0 ? errno : 0;
    });
    if (code != 0)
        return fail(code);
    noteLocalFile(path, entry);
    return static_cast<int>(count);
}

// Copies that the server has are kept only for as long as nobody needs their room.
int VelmoraDisk::withRoom(const QString &path, const std::function<int()> &work) {
    const int code = work();
    if (code != ENOSPC && code != EDQUOT)
        return code;
    return virtualStoreCtl->dropSentCopies(virtualStoreCtl->getVirtualPath(path)) ? work() : code;
}

int VelmoraDisk::prepareWriting(const QString &path, const EntryPtr &entry,
                                const UserData &handle) {
    if (!(handle.opentype & UserData::kWriteIntent))
        return EACCES;
    if (entry->detached)
        return entry->file_node < 0 ? EIO : 0;
    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    if (const auto running = entry->uploadThread()) {
        running->uploadCancel(std::nullopt);
        entry->setUploadThread(nullptr);
        if (entry->file_node < 0) {
            const int node = LocalCopy::openForWriting(localPath);
            if (node < 0)
                return errno;
            entry->file_node = node;
            entry->streamActive = true;
        }
    }
    if (entry->streamActive)
        return entry->file_node < 0 ? EIO : 0;
    return startLocalFile(path, entry);
}

int VelmoraDisk::startLocalFile(const QString &path, const EntryPtr &entry) {
    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    if (const int code = LocalCopy::make(localPath))
        return code;
    const int node =
        entry->file_node >= 0 ? entry->file_node : LocalCopy::openForWriting(localPath);
    if (node < 0)
        return errno;
    // A created file has nothing there, unless another handle has sent it meanwhile.
    if ((entry->place & WebDavResourceCache::kOnServer) && !isLocalVersion(*entry, node)) {
        // What is held of another version may look like this one; reading on would show it too, but
        // sending it would make it the file.
        const auto record = entry->webDavResource();
        if (!record || (record->md5.isEmpty() && record->etag.isEmpty()))
            cacheCtr->remove(path);
        if (const int code = fillFromServer(path, entry, node)) {
            ::close(node);
            entry->file_node = -1;
            return code;
        }
        const auto resource = entry->webDavResource();
        LocalFileDates{resource->fileCreationDate, resource->fileLastModified}.applyTo(localPath);
    }
    UnsentFiles::mark(node);
    entry->localVersion.clear();
    entry->file_node = node;
    entry->streamActive = true;
    return 0;
}

// One version of the server's file from its first byte to its last.
int VelmoraDisk::fillFromServer(const QString &path, const EntryPtr &entry, int node) {
    int code = EIO;
    for (int attempt = 0; attempt < kVersionAttempts; ++attempt) {
        const auto resource = entry->webDavResource();
        if (!resource)
            return EIO;
        QElapsedTimer timer;
        timer.start();
        code = copyVersion(path, *resource, node);
        if (code == CacheController::kVersionChanged) {
            if (const int failure = refreshEntry(path, entry))
                return failure;
            continue;
        }
        if (code != EIO || timer.elapsed() > kQuickFailureMs)
            return code;
    }
    return code < 0 ? EIO : code;
}

// 0, an errno, or CacheController::kVersionChanged.
int VelmoraDisk::copyVersion(const QString &path, const WebDavResource &resource, int node) {
    if (::ftruncate(node, 0) < 0)
        return errno;
    std::vector<char> buffer(kCopyPiece);
    for (qint64 offset = 0; offset < resource.fileSize;) {
        const qint32 count = cacheCtr->read(path, buffer.data(), offset, kCopyPiece,
                                            resource.fileSize, identifierOf(resource));
        if (count == CacheController::kVersionChanged)
            return count;
        if (count <= 0) {
            // The cache would keep the failed fetch as an empty version.
            cacheCtr->remove(path);
            return EIO;
        }
        if (const int code = LocalCopy::writeAll(node, buffer.data(), count, offset))
            return code;
        offset += count;
    }
    return 0;
}

void VelmoraDisk::noteLocalFile(const QString &path, const EntryPtr &entry) {
    struct stat status {};
    const auto resource = entry->webDavResource();
    if (!resource || ::fstat(entry->file_node, &status) < 0)
        return;
    resource->fileSize = status.st_size;
    resource->fileLastModified = QDateTime::fromMSecsSinceEpoch(
        qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1'000'000, Qt::UTC);
    if (!entry->detached)
        metaDataCache->insertMetaData(path, entry);
}

bool VelmoraDisk::synchronizeFileAtPath(const QString &, const HandlePtr &userData,
                                        ErrorOut error) {
    const EntryPtr entry = std::static_pointer_cast<UserData>(userData)->webDavResouceCache;
    const std::lock_guard lock(entry->syncObj);
    if (!entry->streamActive || entry->file_node < 0 || ::fdatasync(entry->file_node) == 0)
        return true;
    setError(error, Error::errorWithPOSIXCode(errno));
    return false;
}
