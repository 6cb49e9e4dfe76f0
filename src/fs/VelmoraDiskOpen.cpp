// Opening and creating. Who opens for writing holds the server's lock from then on; a created file
// exists in the local store alone until its release.

#include <fcntl.h>
#include <sys/stat.h>

#include "cache/MetaDataCache.h"
#include "cache/UnsentFiles.h"
#include "cache/VirtualStoreControler.h"
#include "common/VDCommonUtils.h"
#include "fs/LocalCopy.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// The longest name, in bytes, that can be opened: longer ones leave no room for temporary names.
constexpr int kNameLimit = 247;

bool isNameTooLong(const QString &path) {
    return VDCommonUtils::lastPathComponent(path).toUtf8().size() > kNameLimit;
}

constexpr int kNotFound = 6;

constexpr int32_t kOpenTypeOfMode[] = {1, 2, 3, 0};  // by the low two bits of the mode

// For so long an item that the server didn't have is taken for missing without another question.
constexpr std::chrono::milliseconds kSureAbsence(500);

// The local copy must be readable to be sent and writable for other handles, whatever mode the
// program gives the file.
constexpr mode_t kOwnRights = 0600;

}  // namespace

bool VelmoraDisk::openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                                 ErrorOut error) {
    const auto fail = [error](int posix) {
        setError(error, Error::errorWithPOSIXCode(posix));
        return false;
    };
    lastAccessFilepath = path;
    if (isNameTooLong(path))
        return fail(ENAMETOOLONG);

    Ticket ticket(*accessCol, path);
    EntryPtr entry = metaDataCache->getMetaData(path);
    const bool isFresh = !entry;
    if (!entry)
        entry = entryFromServer(path);
    if (entry->server_forbidden)
        return fail(EACCES);
    if (!(entry->place & WebDavResourceCache::kOnServer) && !entry->streamActive) {
        metaDataCache->removeMetaData(path);
        return fail(entry->failure != 0 ? entry->failure : ENOENT);
    }

    const auto handle = std::make_shared<UserData>();
    handle->opentype = kOpenTypeOfMode[mode & O_ACCMODE];
    const bool writes = handle->opentype & UserData::kWriteIntent;
    if (writes && isCannotWrite(path)) {
        // So it was decided: the path's next caller waits until the ticket lapses.
        ticket.leaveHeld();
        return fail(EROFS);
    }
    if (writes) {
        if (const int code = lockForWriting(path, *entry, *handle))
            return fail(code);
        // Before the lock somebody else may have written: what is about to be changed is what the
        // server has now.
        const bool needsNews = !isFresh && !entry->streamActive && !(mode & O_TRUNC);
        if (const int code = needsNews ? refreshEntry(path, entry) : 0) {
            lockCtr->unlock(path, nullptr);
            return fail(code);
        }
    }
    if (const auto resource = entry->webDavResource()) {
        handle->orgFileSize = static_cast<uint64_t>(resource->fileSize);
        if (writes) {
            handle->orginalModifiedDate = resource->fileLastModified;
            handle->orgEtag = resource->etag;
        }
    }
    addHandle(path, entry, handle, userData);
    return true;
}

int VelmoraDisk::lockForWriting(const QString &path, WebDavResourceCache &entry, UserData &handle) {
    const auto resource = entry.webDavResource();
    std::optional<Error> failure;
    const auto lock = lockCtr->lock(path, resource ? resource->lockDiscovery : nullptr, &failure);
    if (!lock) {
        if (resource)
            resource->lockDiscovery.reset();
        return failure ? failure->code : EACCES;
    }
    // A server without locks is written without them.
    if (!lock->isLock)
        return 0;
    if (resource)
        resource->lockDiscovery = lock;
    handle.lockcounting = true;
    return 0;
}

void VelmoraDisk::addHandle(const QString &path, const EntryPtr &entry,
                            const std::shared_ptr<UserData> &handle, HandlePtr *userData) {
    handle->webDavResouceCache = entry;
    ++entry->handles;
    if (handle->opentype & UserData::kWriteIntent)
        ++entry->writers;
    keepEntry(path, entry);
    *userData = handle;
}

bool VelmoraDisk::createFileAtPath(const QString &path, const AttributeMap &attributes, int,
                                   HandlePtr *userData, ErrorOut error) {
    const auto fail = [error](int posix) {
        setError(error, Error::errorWithPOSIXCode(posix));
        return false;
    };
    if (isCannotWrite(path))
        return fail(EROFS);
    lastAccessFilepath = path;
    const Ticket ticket(*accessCol, path);
    if (isNameTooLong(path))
        return fail(ENAMETOOLONG);

    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    LocalCopy::makeFolderOf(localPath);
    // Usually the negative entry that the query before a create left.
    EntryPtr entry = metaDataCache->getMetaData(path);
    const bool isSurelyMissing = entry && entry->failure == 0 && entry->age() <= kSureAbsence;
    if (!entry)
        entry = std::make_shared<WebDavResourceCache>();
    const auto running = entry->uploadThread();
    if ((entry->place & WebDavResourceCache::kOnServer) || (running && !running->isCanceled()))
        return fail(EEXIST);
    // Nothing that somebody else made meanwhile is overwritten as if it were new. Once it's locked,
    // the name exists on standard servers.
    if (const int code = isSurelyMissing ? 0 : checkAbsence(path)) {
        metaDataCache->removeMetaData(path);
        return fail(code);
    }
    entry->server_forbidden = false;
    entry->place = WebDavResourceCache::kInLocalStore;

    const auto previous = entry->webDavResource();
    std::optional<Error> failure;
    const auto lock = lockCtr->lock(path, previous ? previous->lockDiscovery : nullptr, &failure);
    if (!lock) {
        VDCommonUtils::outputLog(failure);
        return fail(failure ? failure->code : EACCES);
    }

    const mode_t mode = attributes.value(NSFilePosixPermissions).toUInt() & 0xFFFF;
    int node = -1;
    const int code = withRoom(path, [&] {
        node = ::open(localPath.toUtf8().constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC,
                      mode | kOwnRights);
        return node < 0 ? errno : 0;
    });
    if (code != 0) {
        lockCtr->unlock(path, nullptr);
        if (!DAVConnection->isVelmora())
            deleteIfEmpty(path);  // what the lock made there
        return fail(code);
    }
    UnsentFiles::mark(node);

    const auto resource = WebDavResource::createNewFileIsDirectory(false);
    resource->relativePath = path;
    resource->lockDiscovery = lock;
    resource->extendAttrs = std::make_shared<AttributeMap>(attributes);
    entry->setWebDavResource(nullptr);
    entry->setWebDavResource(resource);
    entry->failure = 0;
    entry->file_node = node;
    entry->streamActive = true;

    const auto handle = std::make_shared<UserData>();
    handle->opentype = kOpenTypeOfMode[O_RDWR] | UserData::kCreated;
    handle->lockcounting = true;
    addHandle(path, entry, handle, userData);
    metaDataCache->insertMetaData(path, entry);

    const QString parentPath = VDCommonUtils::getParentName(path);
    if (const EntryPtr parent = metaDataCache->getMetaData(parentPath)) {
        if (const auto folder = parent->webDavResource())
            folder->fileLastModified = resource->fileLastModified;
        parent->insertChilds(VDCommonUtils::lastPathComponent(path));
        metaDataCache->insertMetaData(parentPath, parent);
    }
    enterInListing(path, false);
    return true;
}

// 0 where the server has no such item; else the errno for who wants to create it.
int VelmoraDisk::checkAbsence(const QString &path) {
    const auto resource = resourceFromServer(path);
    if (!resource->error)
        return EEXIST;
    if (resource->error->code == kNotFound)
        return 0;
    const int failure = failureOf(*resource->error);
    return failure != 0 ? failure : EIO;
}

VelmoraDisk::EntryPtr VelmoraDisk::entryFromServer(const QString &path) {
    const auto entry = std::make_shared<WebDavResourceCache>();
    const auto resource = resourceFromServer(path);
    entry->setWebDavResource(resource);
    if (resource->error && resource->error->code == 7)
        entry->server_forbidden = true;
    entry->place = resource->error ? 0 : 1;
    entry->failure = resource->error ? failureOf(*resource->error) : 0;
    metaDataCache->insertMetaData(path, entry);
    return entry;
}
