// Reading: from the local store while it holds the current content, else through the content cache.

#include <fcntl.h>
#include <unistd.h>

#include <QElapsedTimer>

#include "cache/CacheController.h"
#include "cache/FileIdentifier.h"
#include "cache/MetaDataCache.h"
#include "cache/VirtualStoreControler.h"
#include "fs/ServerVersion.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"

namespace {

int failRead(int posix, ErrorOut error) {
    setError(error, Error::errorWithPOSIXCode(posix));
    return -1;
}

}  // namespace

FileIdentifier identifierOf(const WebDavResource &resource) {
    FileIdentifier identifier = FileIdentifier::Enpty();
    if (!resource.md5.isNull()) {
        identifier.md5 = resource.md5;
        return identifier;
    }
    identifier.modifiedTime = resource.fileLastModified;
    identifier.size = resource.fileSize;
    identifier.etag = resource.etag;
    return identifier;
}

int VelmoraDisk::readFileAtPath(const QString &path, const HandlePtr &userData, char *buffer,
                                size_t size, qint64 offset, ErrorOut error) {
    if (!userData)
        return failRead(EIO, error);
    const auto handle = std::static_pointer_cast<UserData>(userData);
    const EntryPtr entry = handle->webDavResouceCache;
    if (handle->opentype != 1 && handle->opentype != 3 && handle->opentype != 7)
        return failRead(EACCES, error);
    if (const auto count = readLocalFile(path, *entry, buffer, size, offset, error))
        return *count;
    // By that path another file would be read.
    if (entry->detached)
        return failRead(EIO, error);
    return readServerFile(path, entry, buffer, size, offset, error);
}

std::optional<int> VelmoraDisk::readLocalFile(const QString &path, WebDavResourceCache &entry,
                                              char *buffer, size_t size, qint64 offset,
                                              ErrorOut error) {
    const std::lock_guard lock(entry.syncObj);
    if (entry.uploadThread() && entry.file_node < 0) {
        const int node =
            ::open(virtualStoreCtl->getVirtualPath(path).toUtf8().constData(), O_RDWR | O_CLOEXEC);
        if (node < 0)
            return failRead(errno, error);
        entry.streamActive = true;
        entry.file_node = node;
    }
    if (!entry.streamActive || entry.file_node < 0)
        return std::nullopt;
    const ssize_t count = ::pread(entry.file_node, buffer, size, offset);
    if (count < 0)
        return failRead(errno, error);
    return static_cast<int>(count);
}

int VelmoraDisk::readServerFile(const QString &path, const EntryPtr &entry, char *buffer,
                                size_t size, qint64 offset, ErrorOut error) {
    bool triedAgain = false;
    for (int attempt = 0; attempt < kVersionAttempts;) {
        const auto resource = entry->webDavResource();
        if (!resource)
            break;
        QElapsedTimer timer;
        timer.start();
        const int count =
            cacheCtr->read(path, buffer, offset, size, resource->fileSize, identifierOf(*resource));
        if (count > 0 || (count == 0 && (size == 0 || offset >= resource->fileSize)))
            return count;
        if (count == CacheController::kVersionChanged) {
            ++attempt;
            if (refreshEntry(path, entry) != 0)
                break;
            continue;
        }
        // The cache keeps a failed first fetch as an empty map and would answer 0 for good; an
        // empty answer in the middle of a file is a failure, and the next read must ask the server
        // again.
        if (count == 0)
            cacheCtr->remove(path);
        if (triedAgain || timer.elapsed() > kQuickFailureMs)
            break;
        triedAgain = true;
    }
    return failRead(EIO, error);
}

int VelmoraDisk::refreshEntry(const QString &path, const EntryPtr &entry) {
    const auto resource = resourceFromServer(path);
    if (resource->error) {
        const int failure = failureOf(*resource->error);
        return failure != 0 ? failure : ENOENT;
    }
    const auto previous = entry->webDavResource();
    if (previous && lockCtr->isLock(path))
        resource->lockDiscovery = previous->lockDiscovery;
    entry->setWebDavResource(resource);
    metaDataCache->insertMetaData(path, entry);
    return 0;
}
