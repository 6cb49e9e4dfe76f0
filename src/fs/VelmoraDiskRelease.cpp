// Releasing a handle. Here written bytes reach the server, under the lock and on the host's thread.
// What the server doesn't take is kept in the user's home, and the user is told.

#include <unistd.h>

#include <QFile>
#include <QFileInfo>

#include "cache/CacheController.h"
#include "cache/MetaDataCache.h"
#include "cache/UnsentFiles.h"
#include "cache/VirtualStoreControler.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "fs/LocalCopy.h"
#include "fs/Ticket.h"
#include "fs/UploadFailure.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"
#include "platform/ui/VDModelessMessage.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kNotFound = 6;
constexpr int kUnexpectedStatus = 13;
constexpr int kParseFailure = 15;

void closeNode(WebDavResourceCache &entry) {
    if (entry.file_node >= 0)
        ::close(entry.file_node);
    entry.file_node = -1;
}

// Null, so that no condition is sent, where there is no lock.
QString tokenOf(const WebDavResource &resource) {
    const auto lock = resource.lockDiscovery;
    return lock && !lock->locktoken.isEmpty() ? lock->locktoken : QString();
}

// Somebody between, a login page for one, may answer well what never came to the server. No answer
// at all denies nothing.
bool deniesUpload(const WebDavResource &stored, qint64 size) {
    if (stored.error)
        return stored.error->code == kNotFound || stored.error->code == kParseFailure;
    return stored.fileSize != size;
}

// The condition that names our lock didn't hold: the server has forgotten it.
bool saysLockIsGone(const Error &error) {
    return error.is(kConnectErrorDomain, kUnexpectedStatus) &&
           error.userInfo.value(QStringLiteral("OUTPUT")).toString().contains(QLatin1String("412"));
}

}  // namespace

void VelmoraDisk::releaseFileAtPath(const QString &path, const HandlePtr &userData) {
    Ticket ticket(*accessCol, path);
    gaveUpUploads = false;
    if (!userData)
        return;
    const auto handle = std::static_pointer_cast<UserData>(userData);
    const EntryPtr entry = handle->webDavResouceCache;
    const std::lock_guard lock(entry->syncObj);
    const bool writes = handle->opentype & UserData::kWriteIntent;
    --entry->handles;
    if (writes)
        --entry->writers;
    if (entry->detached) {
        if (entry->handles == 0)
            closeNode(*entry);
        return;
    }
    if (!writes)
        releaseReader(path, entry, *handle);
    else if (!releaseWriter(path, entry, *handle))
        // So it was decided: the path's next caller waits until the ticket lapses.
        ticket.leaveHeld();
}

void VelmoraDisk::releaseReader(const QString &path, const EntryPtr &entry, UserData &handle) {
    const auto resource = entry->webDavResource();
    if (handle.lockcounting) {
        lockCtr->unlock(path, nullptr);
        if (resource && !lockCtr->isLock(path))
            resource->lockDiscovery.reset();
    }
    // Without server locks a writer isn't seen in the lock table.
    if (entry->streamActive && entry->writers == 0 && !lockCtr->isLock(path)) {
        closeNode(*entry);
        entry->streamActive = false;
    }
    handle.opentype = 0;
    keepEntry(path, entry);
}

bool VelmoraDisk::releaseWriter(const QString &path, const EntryPtr &entry, UserData &handle) {
    // A created file that another handle has sent is changed only by what was written since.
    const bool isUnsent =
        (handle.opentype & UserData::kCreated) && !(entry->place & WebDavResourceCache::kOnServer);
    const bool isChanged = isUnsent || entry->streamActive;
    const auto running = entry->uploadThread();
    if (isChanged && running)
        running->uploadCancel(std::nullopt);

    UploadFailure failure;
    std::shared_ptr<WebDavResource> stored;
    if (isChanged && !upload(path, *entry, handle, &failure, &stored)) {
        giveUpUpload(path, entry, handle, failure);
        return false;
    }
    closeNode(*entry);
    if (isChanged) {
        failedUploads.remove(path);
        UnsentFiles::clearMark(virtualStoreCtl->getVirtualPath(path));
        takeFreshRecord(path, *entry, stored);
        // Who goes on holding the lock needs it renewed.
        lockCtr->uploadEnd(path);
        if (virtualStoreCtl->isTight())
            virtualStoreCtl->dropSentCopies({});
    }

    const auto resource = entry->webDavResource();
    if (lockCtr->unlock(path, nullptr) && resource && !lockCtr->isLock(path))
        resource->lockDiscovery.reset();
    handle.opentype = 0;
    const QString parentPath = VDCommonUtils::getParentName(path);
    const EntryPtr parent = isChanged ? metaDataCache->getMetaData(parentPath) : nullptr;
    if (parent)
        WebDavResource::updateFromLocalFile(virtualStoreCtl->getVirtualPath(parentPath),
                                            parent->webDavResource(), false);
    entry->streamActive = false;
    entry->server_forbidden = false;
    // Handles that are still open must share one record with those to come.
    if (isChanged && stored->error && entry->handles == 0)
        metaDataCache->removeMetaData(path);
    else if (isChanged)
        metaDataCache->insertMetaData(path, entry);
    else
        keepEntry(path, entry);
    return true;
}

bool VelmoraDisk::upload(const QString &path, WebDavResourceCache &entry, const UserData &handle,
                         UploadFailure *failure, std::shared_ptr<WebDavResource> *stored) {
    const auto resource = entry.webDavResource();
    if (const auto lock = lockCtr->getDiscovery(path))
        resource->lockDiscovery = lock;
    failure->quotaFull = isQuotaFull();
    lockCtr->uploadStart(path);
    if (failure->quotaFull)
        return false;
    // A lock that was given up since, and told of, protects the file no more: who else wrote it
    // meanwhile isn't overwritten.
    const bool lostLock = handle.lockcounting && !lockCtr->isLock(path);
    if (lostLock && !retakeLock(path, entry, handle)) {
        failure->error = Error{kConnectErrorDomain, 5, {}};
        return false;
    }
    const QString source =
        LocalCopy::readablePath(entry.file_node, virtualStoreCtl->getVirtualPath(path));
    const auto send = [&] {
        failure->error.reset();
        return DAVConnection->fileUpload(source, path, tokenOf(*entry.webDavResource()), nullptr,
                                         nullptr, true, &failure->error);
    };
    const bool isSent =
        send() || (failure->error && saysLockIsGone(*failure->error) && handle.lockcounting &&
                   retakeLock(path, entry, handle) && send());
    if (!isSent)
        return false;
    *stored = resourceFromServer(path);
    if (!deniesUpload(**stored, QFileInfo(source).size()))
        return true;
    failure->error = Error{kConnectErrorDomain, kUnexpectedStatus, {}};
    return false;
}

// Only for the version of the file that was opened.
bool VelmoraDisk::retakeLock(const QString &path, WebDavResourceCache &entry,
                             const UserData &handle) {
    if (lockCtr->isLock(path) ? !lockCtr->retake(path) : !lockCtr->lock(path, nullptr, nullptr))
        return false;
    const VDWebDAVConnect::NeededRead needed(*DAVConnection);
    const auto current = resourceFromServer(path);
    const bool isMissing = current->error && current->error->code == kNotFound;
    const bool isCreated = handle.opentype & UserData::kCreated;
    const bool sameTag =
        handle.orgEtag.isEmpty() || current->etag.isEmpty() || current->etag == handle.orgEtag;
    const bool isSame = isCreated
                            ? isMissing || (!current->error && current->fileSize == 0)
                            : !current->error && sameTag &&
                                  current->fileLastModified == handle.orginalModifiedDate &&
                                  static_cast<uint64_t>(current->fileSize) == handle.orgFileSize;
    entry.webDavResource()->lockDiscovery = lockCtr->getDiscovery(path);
    return isSame;
}

bool VelmoraDisk::isQuotaFull() {
    const AttributeMap volume = attributesOfFileSystemForPath(QStringLiteral("/"), nullptr);
    const auto size = volume.constFind(NSFileSystemSize);
    return size != volume.constEnd() && size->toLongLong() == 0;
}

// What is on the server now, and what the content cache holds of before goes.
void VelmoraDisk::takeFreshRecord(const QString &path, WebDavResourceCache &entry,
                                  const std::shared_ptr<WebDavResource> &fresh) {
    entry.place = WebDavResourceCache::kOnServer | WebDavResourceCache::kInLocalStore;
    cacheCtr->remove(path);
    if (fresh->error) {
        VDCommonUtils::outputLog(fresh->error);
        return;
    }
    entry.setWebDavResource(fresh);
    // Without a lock somebody else may have written between.
    const auto lock = lockCtr->getDiscovery(path);
    entry.localVersion = lock && lock->isLock ? fresh->etag : QString();
}

void VelmoraDisk::giveUpUpload(const QString &path, const EntryPtr &entry, const UserData &handle,
                               const UploadFailure &failure) {
    const QString fullPath = mountPath() + path;
    VDCommonUtils::outputLog(failure.error);
    const QString text = failure.message(fullPath, path, connectionName);
    lockCtr->uploadEnd(path);
    std::optional<Error> unlockFailure;
    // Handles that are still open have nothing to write to any more.
    if (entry->writers > 0)
        lockCtr->releaseAtOrBelow(path);
    else
        lockCtr->unlock(path, &unlockFailure);
    const bool wasOnServer = entry->place & WebDavResourceCache::kOnServer;
    const bool wasEmpty = wasOnServer && handle.orgFileSize == 0 && failure.deletesEmptyOriginal();
    // A standard server makes an empty file of the lock on a new name.
    const bool isMadeByLock =
        !wasOnServer && !DAVConnection->isVelmora() && failure.isServersOwnWord();
    if (wasEmpty || isMadeByLock)
        deleteIfEmpty(path);
    if (failure.deletesEmptyOriginal())
        VDCommonUtils::outputLog(unlockFailure);
    if (!text.isNull())
        VDModelessMessage::ShowMessageModeless(text, localizedText("Common_Error_Title"),
                                               connectionName);
    rescue(path, entry->file_node);
    if (handle.opentype & UserData::kCreated)
        failedUploads.insert(path, std::chrono::steady_clock::now());
    closeNode(*entry);
    gaveUpUploads = true;
    entry->streamActive = false;
    entry->detached = true;
    metaDataCache->removeMetaData(path);
    cacheCtr->remove(path);
}

// Another handle or another user may have filled it meanwhile.
void VelmoraDisk::deleteIfEmpty(const QString &path) {
    const auto current = resourceFromServer(path);
    if (!current->error && current->contentType != 0 && current->fileSize == 0)
        DAVConnection->fileDelete(path, nullptr);
}

// An empty file has no byte to lose. Left there, it would stand in the way of a folder of its name.
void VelmoraDisk::rescue(const QString &path, int node) {
    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    withRoom(path, [&] { return LocalCopy::restore(node, localPath); });
    if (QFileInfo(localPath).size() < 1) {
        QFile::remove(localPath);
        return;
    }
    const auto saved = UnsentFiles::saveAtHome(localPath, VDCommonUtils::lastPathComponent(path));
    // Where even that fails, the copy stays in the store, which isn't deleted while it is there.
    VDModelessMessage::ShowMessageModeless(
        localizedText("VelmoraDisk_8", mountPath() + path, saved.value_or(localPath)),
        QStringLiteral("Velmora Disk"), connectionName);
}
