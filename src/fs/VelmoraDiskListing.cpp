// Listings and attributes: the metadata cache first, the server second, and what is known to be
// missing is remembered as well.

#include <QFileInfo>

#include "cache/CachePaths.h"
#include "cache/MetaDataCache.h"
#include "common/VDCommonUtils.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "model/WebDavResource.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// Names that never reach the server.
std::optional<int> literalRefusal(const QString &path) {
    if (path.contains(QLatin1String("/VelmoraDiskUploadTemp_")) ||
        path.contains(QLatin1String("/Icon\r")) || path.startsWith(QLatin1String("/.Trash")))
        return EACCES;
    if (path.contains(QLatin1Char('\\')))
        return EINVAL;
    return std::nullopt;
}

enum class Aftermath { kNegative, kRemoved };

struct AttributeFailure {
    int posix;
    Aftermath aftermath;
};

AttributeFailure attributeFailure(const Error &error, const std::function<bool()> &isCannotWrite) {
    switch (error.code) {
        case 0:
            return {ENETUNREACH, Aftermath::kNegative};
        case 6:
            return {isCannotWrite() ? EACCES : ENOENT, Aftermath::kNegative};
        case 7:
            return {EACCES, Aftermath::kNegative};
        case 11:
        case 12:
            return {EHOSTDOWN, Aftermath::kNegative};
        default:
            return {EACCES, Aftermath::kRemoved};
    }
}

// As long as the cache keeps a record that nobody holds.
constexpr std::chrono::duration<double> kRecordLife(MetaDataCache::kMetaDataValidTime);

constexpr int kNotFound = 6;
constexpr int kParseFailure = 15;
constexpr int kBadRequest = 18;

}  // namespace

std::optional<QStringList> VelmoraDisk::contentsOfDirectoryAtPath(const QString &path,
                                                                  ErrorOut error) {
    const Ticket ticket(*accessCol, path);
    EntryPtr entry = metaDataCache->getMetaData(path);
    // A new entry stays out of the cache: only the attribute query enters one.
    if (!entry)
        entry = std::make_shared<WebDavResourceCache>();
    if (entry->children)
        return VDCommonUtils::margeArrayFileList(entry->children->keys(), {});

    std::optional<Error> failure;
    ListingTypes types;
    const auto names = DAVConnection->getFileList(path, nullptr, &failure, &types);
    if (failure) {
        VDCommonUtils::outputLog(failure);
        noteListingFailure(*entry, *failure);
        // The server's own error goes out, whatever its domain; the host maps it.
        setError(error, *failure);
        return std::nullopt;
    }
    const QStringList list = VDCommonUtils::margeArrayFileList(names.keys(), namesOfNewFiles(path));
    QMap<QString, QString> children;
    for (const QString &name : list)
        children.insert(name, name);
    entry->children = children;
    rememberListing(path, list, types);
    return list;
}

// Those that the server hears of at their release.
QStringList VelmoraDisk::namesOfNewFiles(const QString &folder) {
    QStringList names;
    for (const QString &path : metaDataCache->writtenBelow(folder)) {
        const EntryPtr entry = metaDataCache->getMetaData(path);
        if (VDCommonUtils::getParentName(path) == cacheKey(folder) &&
            !(entry->place & WebDavResourceCache::kOnServer))
            names.append(VDCommonUtils::lastPathComponent(path));
    }
    return names;
}

void VelmoraDisk::noteListingFailure(WebDavResourceCache &entry, const Error &failure) {
    if (failure.isPosix())
        return;
    if (failure.code == 6)
        entry.place = 0;
    if (failure.code == 7)
        entry.server_forbidden = true;
}

void VelmoraDisk::rememberListing(const QString &folder, const QStringList &names,
                                  const ListingTypes &types) {
    lastListing.folder = cacheKey(folder);
    lastListing.isFolder.clear();
    lastListing.unasked = QSet<QString>(names.begin(), names.end());
    lastListing.questions = 0;
    if (!types.known)
        return;
    for (const QString &name : names)
        lastListing.isFolder.insert(name, types.collections.contains(name));
}

std::optional<bool> VelmoraDisk::isKnownDirectory(const QString &path) {
    if (const EntryPtr entry = metaDataCache->getMetaData(path)) {
        const auto resource = entry->webDavResource();
        if (resource && !resource->error)
            return resource->contentType == 0;
    }
    const QString key = cacheKey(path);
    if (VDCommonUtils::getParentName(key) != lastListing.folder)
        return std::nullopt;
    const auto known = lastListing.isFolder.constFind(VDCommonUtils::lastPathComponent(key));
    if (known == lastListing.isFolder.constEnd())
        return std::nullopt;
    return *known;
}

std::shared_ptr<AttributeMap> VelmoraDisk::attributesOfItemAtPath(const QString &path,
                                                                  const HandlePtr &userData,
                                                                  ErrorOut error) {
    if (const auto refusal = literalRefusal(path)) {
        setError(error, Error::errorWithPOSIXCode(*refusal));
        return nullptr;
    }
    const EntryPtr own =
        userData ? std::static_pointer_cast<UserData>(userData)->webDavResouceCache : nullptr;
    if (own && own->detached)
        return own->webDavResource()->fileInfomation();
    Ticket ticket(*accessCol, path);
    EntryPtr entry = metaDataCache->getMetaData(path);
    if (!entry)
        entry = own;

    const auto fail = [&](int posix) {
        ticket.giveBack();
        leaveParent(path);
        setError(error, Error::errorWithPOSIXCode(posix));
        return nullptr;
    };
    if (entry && entry->server_forbidden)
        return fail(EACCES);
    // A server out of reach isn't a missing file, however often it is asked for.
    if (entry && entry->place == 0 && entry->failure != 0)
        return fail(entry->failure);
    if (entry && entry->place == 0)
        return fail(isCannotWrite(path) ? EROFS : ENOENT);
    if (!entry)
        entry = std::make_shared<WebDavResourceCache>();

    if (!entry->webDavResource()) {
        if (const EntryPtr known = lookAhead(path))
            entry = known;
    }
    if (!entry->webDavResource()) {
        const auto resource = resourceFromServer(path);
        entry->setWebDavResource(resource);
        if (resource->error) {
            VDCommonUtils::outputLog(resource->error);
            if (resource->error->code == kBadRequest) {
                // No error goes out and the ticket stays held until its limit: so it was decided
                // for names that the server calls malformed.
                ticket.leaveHeld();
                return nullptr;
            }
            const AttributeFailure failure =
                attributeFailure(*resource->error, [&] { return isCannotWrite(path); });
            if (failure.aftermath == Aftermath::kNegative)
                makeNegative(path, entry, failureOf(*resource->error));
            else
                metaDataCache->removeMetaData(path);
            return fail(failure.posix);
        }
        entry->place = 1;
        entry->failure = 0;
    }

    // An open file keeps its record in the cache, but what other clients do to it must show.
    if (entry->handles > 0 && entry->writers == 0 && !entry->streamActive &&
        entry->age() > kRecordLife)
        refreshEntry(path, entry);

    keepEntry(path, entry);
    const auto resource = entry->webDavResource();
    if (path == QLatin1String("/"))
        topFolderType = resource->folderType;
    else
        enterInParent(path);
    return resource->fileInfomation();
}

std::shared_ptr<WebDavResource> VelmoraDisk::resourceFromServer(const QString &path) {
    auto resource =
        WebDavResource::createWebDAVItem(*DAVConnection, DAVConnection->serverUrl, path);
    // Taken for the empty file that it looks like, it would be read as one, and a write would cut
    // the real one on the server.
    if (!resource->error && resource->incomplete)
        resource->error = Error{kConnectErrorDomain, kParseFailure, {}};
    return resource;
}

// What the server told holds for the cache's few seconds, however often it is asked for meanwhile:
// a program that looks again and again must see a change too. So an entry that is in the cache
// keeps its age.
void VelmoraDisk::keepEntry(const QString &path, const EntryPtr &entry) {
    if (metaDataCache->getMetaData(path) != entry)
        metaDataCache->insertMetaData(path, entry);
}

int VelmoraDisk::failureOf(const Error &error) {
    const AttributeFailure failure = attributeFailure(error, [] { return false; });
    const bool isMissing = error.code == kNotFound || failure.aftermath != Aftermath::kNegative;
    return isMissing ? 0 : failure.posix;
}

void VelmoraDisk::makeNegative(const QString &path, const EntryPtr &entry, int failure) {
    entry->setWebDavResource(nullptr);
    entry->children.reset();
    entry->place = 0;
    entry->failure = failure;
    metaDataCache->insertMetaData(path, entry);
}

void VelmoraDisk::enterInParent(const QString &path) {
    const QString parentPath = VDCommonUtils::getParentName(path);
    const Ticket ticket(*accessCol, parentPath);
    if (const EntryPtr parent = metaDataCache->getMetaData(parentPath))
        parent->insertChilds(VDCommonUtils::lastPathComponent(path));
}

// Without the parent's ticket: the failed query has no business waiting for the folder.
void VelmoraDisk::leaveParent(const QString &path) {
    if (path == QLatin1String("/"))
        return;
    if (const EntryPtr parent = metaDataCache->getMetaData(VDCommonUtils::getParentName(path)))
        parent->removeChild(VDCommonUtils::lastPathComponent(path));
}

void VelmoraDisk::enterInListing(const QString &path, bool isFolder) {
    const QString key = cacheKey(path);
    if (VDCommonUtils::getParentName(key) == lastListing.folder)
        lastListing.isFolder.insert(VDCommonUtils::lastPathComponent(key), isFolder);
}

void VelmoraDisk::leaveListing(const QString &path) {
    const QString key = cacheKey(path);
    if (!atOrBelow({lastListing.folder}, key).isEmpty())
        lastListing = {};
    if (VDCommonUtils::getParentName(key) != lastListing.folder)
        return;
    lastListing.isFolder.remove(VDCommonUtils::lastPathComponent(key));
    lastListing.unasked.remove(VDCommonUtils::lastPathComponent(key));
}

bool VelmoraDisk::isWordFile(const QString &path) {
    return QFileInfo(path).suffix().startsWith(QLatin1String("doc"));
}
