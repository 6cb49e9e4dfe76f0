// Changes of the tree: on the server, in the local store and in the caches.

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "cache/CacheController.h"
#include "cache/CachePaths.h"
#include "cache/MetaDataCache.h"
#include "cache/VirtualStoreControler.h"
#include "common/VDCommonUtils.h"
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

constexpr int kLocked = 3;
constexpr int kNotFound = 6;
constexpr int kAlreadyExists = 8;

bool fail(int posix, ErrorOut error) {
    setError(error, Error::errorWithPOSIXCode(posix));
    return false;
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
    const bool isMade = DAVConnection->fileMakeDirectory(path, &failure);
    const bool exists = isMade || (failure && failure->is(kConnectErrorDomain, kAlreadyExists));
    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    bool isLocalMade = true;
    if (exists && !makePrivateFolder(localPath)) {
        isLocalMade = false;
        failure = Error::errorWithPOSIXCode(errno);
    }
    if (!exists) {
        // Nobody shall find a folder that isn't there.
        metaDataCache->removeMetaData(path);
        return mapFailure(failure, kMakeDirectoryCodes, ENOENT, error);
    }

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
    if (isMade && isLocalMade)
        return true;
    return mapFailure(failure, kMakeDirectoryCodes, ENOENT, error);
}

bool VelmoraDisk::moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error) {
    if (path == toPath)
        return fail(EINVAL, error);
    if (isCannotWrite(path) || isCannotWrite(toPath))
        return fail(EROFS, error);
    // Programs save under a name of its own and move that over the file. What the server has under
    // that name, an empty file maybe, isn't what was saved.
    if (failedUploads.remove(path))
        return fail(EIO, error);
    const Ticket source(*accessCol, path);
    const Ticket target(*accessCol, toPath);
    const EntryPtr entry = metaDataCache->getMetaData(path);
    const EntryPtr replaced = metaDataCache->getMetaData(toPath);
    const auto resource = entry ? entry->webDavResource() : nullptr;
    const auto replacedResource = replaced ? replaced->webDavResource() : nullptr;
    // What somebody else just put into the folder shall not go along with it.
    if (replacedResource && replacedResource->contentType == 0 && !isEmptyOnServer(toPath, error))
        return false;
    metaDataCache->setMoveLock(path);

    auto locks = lockCtr->locksAtOrBelow(path);
    if (!lockCtr->getDiscovery(path) && resource && resource->lockDiscovery)
        locks.append(resource->lockDiscovery);
    locks += lockCtr->locksAtOrBelow(toPath);
    if (replaced && replaced->handles > 0)
        keepContent(toPath, replaced);

    std::optional<Error> failure;
    bool isMoved = DAVConnection->fileMoveFrom(path, toPath, true, locks, &failure);
    // A new file on a server without locks isn't there before its first upload.
    const bool isLocalOnly = entry && entry->streamActive && entry->handles > 0 &&
                             !(entry->place & WebDavResourceCache::kOnServer);
    if (!isMoved && isLocalOnly && failure && failure->is(kConnectErrorDomain, kNotFound))
        isMoved = true;
    if (!isMoved)
        return mapFailure(failure, kMoveCodes, EEXIST, error);

    lockCtr->releaseAtOrBelow(toPath);
    if (replaced && replaced->handles > 0)
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

void VelmoraDisk::moveLocalItem(const QString &from, const QString &to) {
    const QString localFrom = virtualStoreCtl->getVirtualPath(from);
    const QString localTo = virtualStoreCtl->getVirtualPath(to);
    makePrivateFolder(QFileInfo(localTo).path());
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

// The server would take what is in the folder along; other users put things there as well.
bool VelmoraDisk::isEmptyOnServer(const QString &folder, ErrorOut error) {
    std::optional<Error> failure;
    const auto names = DAVConnection->getFileList(folder, nullptr, &failure);
    if (failure && failure->is(kConnectErrorDomain, kNotFound))
        return true;
    if (failure)
        return mapFailure(failure, kRemoveCodes, EACCES, error);
    return names.isEmpty() || fail(ENOTEMPTY, error);
}

bool VelmoraDisk::removeDirectoryAtPath(const QString &path, ErrorOut error) {
    return isEmptyOnServer(path, error) && removeItemAtPath(path, error);
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
    if (isOpen)
        keepContent(path, entry);
    removeLocalItem(virtualStoreCtl->getVirtualPath(path));
    if (!removeOnServer(path, error))
        return false;
    failedUploads.remove(path);
    if (isOpen)
        detach(path, entry);
    removeSubItemAtPath(path);
    leaveListing(path);
    return true;
}

bool VelmoraDisk::removeOnServer(const QString &path, ErrorOut error) {
    const EntryPtr entry = metaDataCache->getMetaData(path);
    const bool isOnServer = entry && (entry->place & WebDavResourceCache::kOnServer);
    const auto locks = lockCtr->locksAtOrBelow(path);
    // A lock on a new file is a file on the server, but for the vendor's, where it goes with it.
    if (!isOnServer && (DAVConnection->isVelmora() || locks.isEmpty())) {
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
void VelmoraDisk::keepContent(const QString &path, const EntryPtr &entry) {
    const std::lock_guard lock(entry->syncObj);
    if (!entry->streamActive)
        startLocalFile(path, entry);
}

void VelmoraDisk::detach(const QString &path, const EntryPtr &entry) {
    const std::lock_guard lock(entry->syncObj);
    entry->detached = true;
    metaDataCache->removeMetaDataStopUpload(path, false);
    metaDataCache->insertMetaData(path, std::make_shared<WebDavResourceCache>());
}
