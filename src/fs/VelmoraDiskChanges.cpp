// Changes of the tree: on the server, in the local store and in the caches.

#include <chrono>
#include <unistd.h>
#include <utility>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "cache/CacheController.h"
#include "cache/CachePaths.h"
#include "cache/MetaDataCache.h"
#include "cache/VirtualStoreControler.h"
#include "common/VDCommonUtils.h"
#include "fs/LocalCopy.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

using CodeTable = QMap<int, int>;

const CodeTable kMakeDirectoryCodes = {
    {3, EBUSY},   {5, EBUSY},      {7, EROFS},      {8, EEXIST},  {9, ENOTDIR},
    {10, ENOSPC}, {11, EHOSTDOWN}, {12, EHOSTDOWN}, {18, EINVAL},
};

const CodeTable kMoveCodes = {
    {0, ENETUNREACH}, {2, EINVAL},  {3, EBUSY},      {5, EBUSY},      {6, ENOENT},  {7, EROFS},
    {9, ENOTDIR},     {10, ENOSPC}, {11, EHOSTDOWN}, {12, EHOSTDOWN}, {17, EINVAL}, {18, EINVAL},
};

const CodeTable kRemoveCodes = {
    {0, ENETUNREACH}, {3, EBUSY}, {5, EBUSY}, {7, EROFS}, {11, EHOSTDOWN}, {12, EHOSTDOWN},
};

constexpr int kNoAnswer = 0;
constexpr int kLocked = 3;
constexpr int kNotFound = 6;

// For so long what a failed save left on the server isn't moved. Programs try that at once, and
// maybe again; a person comes later.
constexpr std::chrono::seconds kFailedSaveLasts(60);

bool fail(int posix, ErrorOut error) {
    setError(error, Error::errorWithPOSIXCode(posix));
    return false;
}

// A question that failed denies nothing.
bool mayBeOnServer(const WebDavResourceCache &entry) {
    const auto resource = entry.webDavResource();
    const bool isDoubtful = resource && resource->error && resource->error->code != kNotFound;
    return (entry.place & WebDavResourceCache::kOnServer) || entry.failure != 0 || isDoubtful;
}

void removeLocalItem(const QString &localPath) {
    if (QFileInfo(localPath).isDir())
        QDir(localPath).removeRecursively();
    else
        QFile::remove(localPath);
}

}  // namespace

bool VelmoraDisk::mapFailure(const std::optional<Error> &failure, const QMap<int, int> &codes,
                             int otherwise, ErrorOut error) {
    if (!failure)
        return false;
    VDCommonUtils::outputLog(failure);
    setError(error, failure->isPosix()
                        ? *failure
                        : Error::errorWithPOSIXCode(codes.value(failure->code, otherwise)));
    return false;
}

bool VelmoraDisk::createDirectoryAtPath(const QString &path, const AttributeMap &attributes,
                                        ErrorOut error) {
    if (isCannotWrite(path))
        return fail(EROFS, error);
    const Ticket ticket(*accessCol, path);
    std::optional<Error> failure;
    if (!DAVConnection->fileMakeDirectory(path, &failure)) {
        // Nobody shall find a folder that isn't there, or is a file.
        const EntryPtr present = metaDataCache->getMetaData(path);
        if (!present || present->handles == 0)
            metaDataCache->removeMetaData(path);
        return mapFailure(failure, kMakeDirectoryCodes, ENOENT, error);
    }
    // Where this fails, the first file in it makes it.
    makePrivateFolder(virtualStoreCtl->getVirtualPath(path));

    const auto entry = std::make_shared<WebDavResourceCache>();
    const auto resource = WebDavResource::createNewFileIsDirectory(true);
    resource->relativePath = path;
    resource->extendAttrs = std::make_shared<AttributeMap>(attributes);
    entry->setWebDavResource(resource);
    entry->place = WebDavResourceCache::kOnServer;
    metaDataCache->insertMetaData(path, entry);
    if (const EntryPtr parent = metaDataCache->getMetaData(VDCommonUtils::getParentName(path)))
        parent->insertChilds(VDCommonUtils::lastPathComponent(path));
    enterInListing(path, true);
    return true;
}

bool VelmoraDisk::moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error) {
    if (path == toPath)
        return fail(EINVAL, error);
    if (isCannotWrite(path) || isCannotWrite(toPath))
        return fail(EROFS, error);
    // Programs save under a name of its own and move that over the file. What the server has under
    // that name, an empty file maybe, isn't what was saved.
    if (isFailedSave(path))
        return fail(EIO, error);
    const Ticket source(*accessCol, path);
    const Ticket target(*accessCol, toPath);
    const EntryPtr entry = metaDataCache->getMetaData(path);
    EntryPtr replaced = metaDataCache->getMetaData(toPath);
    if (!replaced)
        replaced = entryFromServer(toPath);
    const auto resource = entry ? entry->webDavResource() : nullptr;
    const auto replacedResource = replaced->webDavResource();
    // What somebody else just put into the folder shall not go along with it.
    const bool isFolder =
        replacedResource && !replacedResource->error && replacedResource->contentType == 0;
    if (isFolder && !isEmptyFolder(toPath, error))
        return false;
    metaDataCache->setMoveLock(path);

    auto locks = lockCtr->locksAtOrBelow(path);
    if (!lockCtr->getDiscovery(path) && resource && resource->lockDiscovery)
        locks.append(resource->lockDiscovery);
    locks += lockCtr->locksAtOrBelow(toPath);
    const bool isReplacedKept = replaced->handles > 0 && keepContent(toPath, replaced);

    std::optional<Error> failure;
    // A new file isn't on the server before its first upload, or only as the empty one that the
    // lock made, which must not take the place of what is replaced.
    const bool isLocalOnly = entry && entry->streamActive && entry->handles > 0 &&
                             !(entry->place & WebDavResourceCache::kOnServer);
    const bool isReplacedLater = isLocalOnly && !DAVConnection->isVelmora() &&
                                 (replaced->place & WebDavResourceCache::kOnServer);
    bool isMoved = isReplacedLater
                       ? DAVConnection->fileDelete(path, locks, &failure)
                       : DAVConnection->fileMoveFrom(path, toPath, true, locks, &failure);
    if (!isMoved && isLocalOnly && failure && failure->is(kConnectErrorDomain, kNotFound))
        isMoved = true;
    if (!isMoved && !isLocalOnly && resource && failure &&
        wasMoved(path, toPath, *replaced, *failure))
        isMoved = true;
    if (!isMoved) {
        if (isReplacedKept)
            dropContent(toPath, replaced);
        return mapFailure(failure, kMoveCodes, EEXIST, error);
    }

    // What such a file replaces goes with its upload, or with a removal before.
    if (isLocalOnly)
        entry->place |= replaced->place & WebDavResourceCache::kOnServer;
    failedUploads.remove(toPath);
    lockCtr->releaseAtOrBelow(toPath);
    if (replaced->handles > 0)
        detach(toPath, replaced);
    // What was known missing there may have come along.
    metaDataCache->removeMetaDataFromDelete(toPath, false);
    moveLocalItem(path, toPath);
    cacheCtr->remove(toPath);
    moveSubItemAtPath(QString(), path, toPath);
    lockCtr->renameFrom(path, toPath);
    leaveListing(path);
    leaveListing(toPath);
    if (resource)
        enterInListing(toPath, resource->contentType == 0);
    return true;
}

// A move whose answer was lost, or that was sent again and found nothing more to move: the source
// is gone, and the target isn't what it was.
bool VelmoraDisk::wasMoved(const QString &path, const QString &toPath,
                           const WebDavResourceCache &replaced, const Error &failure) {
    if (!failure.is(kConnectErrorDomain, kNoAnswer) && !failure.is(kConnectErrorDomain, kNotFound))
        return false;
    const auto source = resourceFromServer(path);
    if (!source->error || !source->error->is(kConnectErrorDomain, kNotFound))
        return false;
    const auto target = resourceFromServer(toPath);
    if (target->error)
        return false;
    const auto before = replaced.webDavResource();
    if (!(replaced.place & WebDavResourceCache::kOnServer) || !before || before->error)
        return true;
    return target->contentType == 0 || target->etag != before->etag ||
           target->fileLastModified != before->fileLastModified;
}

void VelmoraDisk::moveLocalItem(const QString &from, const QString &to) {
    const QString localFrom = virtualStoreCtl->getVirtualPath(from);
    const QString localTo = virtualStoreCtl->getVirtualPath(to);
    LocalCopy::makeFolderOf(localTo);
    removeLocalItem(localTo);
    // What is being written below it is still in its open files if this fails.
    if (::rename(localFrom.toUtf8().constData(), localTo.toUtf8().constData()) != 0)
        removeLocalItem(localFrom);
}

void VelmoraDisk::moveSubItemAtPath(const QString &item, const QString &fromParent,
                                    const QString &toParent) {
    QString from = fromParent;
    QString to = toParent;
    if (item.isNull()) {
        const QString newParentPath = VDCommonUtils::getParentName(to);
        const Ticket ticket(*accessCol, newParentPath);
        if (const EntryPtr parent = metaDataCache->getMetaData(VDCommonUtils::getParentName(from)))
            parent->removeChild(VDCommonUtils::lastPathComponent(from));
        if (const EntryPtr parent = metaDataCache->getMetaData(newParentPath))
            parent->insertChilds(VDCommonUtils::lastPathComponent(to));
    } else {
        from += QLatin1Char('/') + item;
        to += QLatin1Char('/') + item;
    }
    metaDataCache->renameFrom(from, to);
    cacheCtr->renameFrom(from, to);
}

bool VelmoraDisk::exchangeDataOfItemAtPath(const QString &path, const QString &withItemAtPath,
                                           ErrorOut error) {
    if (isWordFile(path) || isWordFile(withItemAtPath))
        return fail(ENOSYS, error);
    const bool first = DAVConnection->fileExsits(path, nullptr);
    const bool second = DAVConnection->fileExsits(withItemAtPath, nullptr);
    if (!first && !second)
        return true;
    if (!second)
        return moveItemAtPath(path, withItemAtPath, error);
    if (!first)
        return moveItemAtPath(withItemAtPath, path, error);
    const QString temporary = path + QStringLiteral("_velmoratemp");
    if (!moveItemAtPath(path, temporary, error) || !moveItemAtPath(withItemAtPath, path, error))
        return false;
    moveItemAtPath(temporary, withItemAtPath, nullptr);
    return true;
}

bool VelmoraDisk::isFailedSave(const QString &path) {
    const auto now = std::chrono::steady_clock::now();
    using Iterator = decltype(failedUploads)::iterator;
    failedUploads.removeIf([now](Iterator one) { return now - *one > kFailedSaveLasts; });
    return failedUploads.contains(path);
}

// The server would take what is in the folder along; other users put things there as well.
bool VelmoraDisk::isEmptyFolder(const QString &folder, ErrorOut error) {
    // A new file is on the server after its release.
    if (!metaDataCache->writtenBelow(folder).isEmpty())
        return fail(ENOTEMPTY, error);
    std::optional<Error> failure;
    const auto names = DAVConnection->getFileList(folder, nullptr, &failure);
    if (failure && failure->is(kConnectErrorDomain, kNotFound))
        return true;
    if (failure)
        return mapFailure(failure, kRemoveCodes, EACCES, error);
    return names.isEmpty() || fail(ENOTEMPTY, error);
}

bool VelmoraDisk::removeDirectoryAtPath(const QString &path, ErrorOut error) {
    return isEmptyFolder(path, error) && removeItemAtPath(path, error);
}

bool VelmoraDisk::removeItemAtPath(const QString &path, ErrorOut error) {
    if (isCannotWrite(path))
        return fail(EROFS, error);
    const Ticket ticket(*accessCol, path);
    EntryPtr entry = metaDataCache->getMetaData(path);
    // What nobody asked for lately is there or isn't: only the server knows.
    if (!entry)
        entry = entryFromServer(path);
    const bool isOpen = entry->handles > 0;
    const bool isKept = isOpen && keepContent(path, entry);
    if (!removeOnServer(path, *entry, error)) {
        if (isKept)
            dropContent(path, entry);
        return false;
    }
    // Not before: an open file's unsent bytes have their name as long as the file has its.
    removeLocalItem(virtualStoreCtl->getVirtualPath(path));
    failedUploads.remove(path);
    if (isOpen)
        detach(path, entry);
    removeSubItemAtPath(path);
    leaveListing(path);
    return true;
}

bool VelmoraDisk::removeOnServer(const QString &path, const WebDavResourceCache &entry,
                                 ErrorOut error) {
    const auto locks = lockCtr->locksAtOrBelow(path);
    // A lock on a new file is a file on the server, but for the vendor's, where it goes with it.
    if (!mayBeOnServer(entry) && (DAVConnection->isVelmora() || locks.isEmpty())) {
        lockCtr->releaseAtOrBelow(path);
        return true;
    }
    std::optional<Error> failure;
    bool isRemoved = DAVConnection->fileDelete(path, locks, &failure);
    if (!isRemoved && !locks.isEmpty() && failure && failure->is(kConnectErrorDomain, kLocked)) {
        lockCtr->releaseAtOrBelow(path);
        failure.reset();
        isRemoved = DAVConnection->fileDelete(path, &failure);
    }
    if (!isRemoved && failure && failure->is(kConnectErrorDomain, kNotFound))
        isRemoved = true;
    if (!isRemoved)
        return mapFailure(failure, kRemoveCodes, EACCES, error);
    lockCtr->forgetAtOrBelow(path);
    return true;
}

void VelmoraDisk::removeSubItemAtPath(const QString &path) {
    if (const EntryPtr parent = metaDataCache->getMetaData(VDCommonUtils::getParentName(path)))
        parent->removeChild(VDCommonUtils::lastPathComponent(path));
    cacheCtr->remove(path);
    metaDataCache->removeMetaDataFromDelete(path, true);
}

// A failure leaves those handles with an error when they read on.
bool VelmoraDisk::keepContent(const QString &path, const EntryPtr &entry) {
    const std::lock_guard lock(entry->syncObj);
    return !entry->streamActive && withRoom(path, [&] { return startLocalFile(path, entry); }) == 0;
}

// Nothing was written to that copy: at a release it must not count as a change.
void VelmoraDisk::dropContent(const QString &path, const EntryPtr &entry) {
    const std::lock_guard lock(entry->syncObj);
    ::close(std::exchange(entry->file_node, -1));
    entry->streamActive = false;
    removeLocalItem(virtualStoreCtl->getVirtualPath(path));
}

void VelmoraDisk::detach(const QString &path, const EntryPtr &entry) {
    const std::lock_guard lock(entry->syncObj);
    entry->detached = true;
    metaDataCache->removeMetaDataStopUpload(path, false);
    metaDataCache->insertMetaData(path, std::make_shared<WebDavResourceCache>());
}
