#include "cache/CacheController.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>

#include "cache/CachePaths.h"
#include "common/Error.h"
#include "common/Log.h"
#include "webdav/ContentSource.h"
#include "webdav/Namespaces.h"

namespace {

constexpr qint64 kBlockSize = ContentMap::kBlockSize;
constexpr int kBlockShift = 16;
// The first run of a big file is short, so that a first read answers soon.
constexpr qint64 kFirstFetch = 0x100000;
constexpr qint64 kLaterFetch = 0x800000;
constexpr qsizetype kMemoryBlocks = 5;
constexpr qsizetype kFolderTypes = 1000;
constexpr int kFolderTypeAttempts = 3;

bool writeAll(int fd, const char *data, qint64 size, qint64 offset) {
    while (size > 0) {
        const ssize_t done = ::pwrite(fd, data, size, offset);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        data += done;
        size -= done;
        offset += done;
    }
    return true;
}

bool readAll(int fd, char *data, qint64 size, qint64 offset) {
    while (size > 0) {
        const ssize_t done = ::pread(fd, data, size, offset);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        data += done;
        size -= done;
        offset += done;
    }
    return true;
}

// Servers tell times to the second.
bool differ(const QDateTime &one, const QDateTime &other) {
    return one.isValid() && other.isValid() && one.toSecsSinceEpoch() != other.toSecsSinceEpoch();
}

bool differ(const QString &one, const QString &other) {
    return !one.isEmpty() && !other.isEmpty() && one != other;
}

}  // namespace

// One run of blocks as the server sent it.
struct CacheController::Fetch {
    QByteArray data;
    qint64 expected = 0;  // bytes that the file's size promises
    RangeAnswer answer;
};

CacheController::CacheController(std::shared_ptr<ContentSource> con, const QString &tempFileName,
                                 qint32 slotCount)
    : contentCacheFilePath(tempFileName), con(std::move(con)), contentCacheDiskMap(slotCount) {
    contentMemorycache.setCountLimit(kMemoryBlocks);
    folderTypeCache.setCountLimit(kFolderTypes);
    contentCacheDiskMap.setDelegate_pushout(
        [this](const std::shared_ptr<ContentCacheInfo> &info) { pushOut(*info); });
    makePrivateFolder(QFileInfo(contentCacheFilePath).path());
    // A new file, so that nobody still holds one with wider rights.
    QFile::remove(contentCacheFilePath);
    contentCache = ::open(QFile::encodeName(contentCacheFilePath).constData(),
                          O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    // Every read will fail; the log shall tell why.
    if (contentCache < 0)
        VDLog(contentCacheFilePath + QStringLiteral(": ") + qt_error_string(errno));
}

CacheController::~CacheController() {
    disposeCache();
}

void CacheController::disposeCache() {
    const std::lock_guard lock(contentCacheMonitor);
    if (contentCache < 0)
        return;
    ::close(contentCache);
    contentCache = -1;
    lastRun = {};
    QFile::remove(contentCacheFilePath);
}

qint32 CacheController::read(const QString &path, char *buffer, qint64 offset, quint64 requestSize,
                             qint64 fileSize, const FileIdentifier &fileIdentifier) {
    if (offset < 0)
        return -1;
    constexpr quint64 kMostAtOnce = std::numeric_limits<qint32>::max();
    const auto request = static_cast<qint32>(std::min(requestSize, kMostAtOnce));
    const std::lock_guard lock(contentCacheMonitor);
    MapPtr map = contentFileMapping.value(cacheKey(path));
    if (map && !map->identifier.match(fileIdentifier)) {
        remove(path);
        map.reset();
    }
    if (!map) {
        bool versionChanged = false;
        map = registerToContentCache(path, 0, fileSize, fileIdentifier, &versionChanged);
        if (versionChanged)
            return kVersionChanged;
    }
    if (map->count() == 0)
        return 0;
    return copyBlocks(path, map, buffer, offset, request, fileSize, fileIdentifier);
}

qint32 CacheController::copyBlocks(const QString &path, MapPtr map, char *buffer, qint64 offset,
                                   qint32 request, qint64 fileSize,
                                   const FileIdentifier &fileIdentifier) {
    qint64 position = offset >> kBlockShift;
    auto inBlock = static_cast<qint32>(offset & (kBlockSize - 1));
    qint32 total = 0;
    for (; map->exist(position); ++position, inBlock = 0) {
        const auto block = static_cast<qint32>(position);
        if (!ownsSlot(*map, block)) {
            map->erase(block);
            bool versionChanged = false;
            map = registerToContentCache(path, block, fileSize, fileIdentifier, &versionChanged);
            if (versionChanged)
                return kVersionChanged;
            if (!ownsSlot(*map, block))
                return -1;
        }
        const qint32 blockBytes = map->size(block);
        if (inBlock >= blockBytes)
            break;  // at or beyond the end, where a read gives nothing
        const qint32 delivered = deliver(*map, block, inBlock, buffer + total, request - total);
        if (delivered < 0)
            return -1;
        total += delivered;
        if (blockBytes != kBlockSize || total == request)
            break;
    }
    return total;
}

// Copies what the block holds from inBlock on, up to the request; -1 on failure.
qint32 CacheController::deliver(ContentMap &map, qint32 block, qint32 inBlock, char *buffer,
                                qint32 request) {
    const qint32 size = map.size(block);
    const qint32 wanted = std::min(request, size - inBlock);
    contentCacheDiskMap.hit(map.get(block));
    if (const char *data = inLastRun(map, block)) {
        std::copy_n(data + inBlock, wanted, buffer);
        return wanted;
    }
    const MemoryKey key(map.version(), block);
    if (const QByteArray *data = contentMemorycache.objectForKey(key)) {
        std::copy_n(data->constData() + inBlock, wanted, buffer);
        return wanted;
    }
    // A block that is taken whole isn't likely to be asked for again.
    if (wanted == size)
        return readSlot(map, block, buffer) ? wanted : -1;
    QByteArray data(size, Qt::Uninitialized);
    if (!readSlot(map, block, data.data()))
        return -1;
    std::copy_n(data.constData() + inBlock, wanted, buffer);
    contentMemorycache.setObject(std::move(data), key);
    return wanted;
}

const char *CacheController::inLastRun(const ContentMap &map, qint32 block) const {
    const qint64 start = qint64(block - lastRun.firstBlock) << kBlockShift;
    const bool isHeld = lastRun.version == map.version() && block >= lastRun.firstBlock &&
                        start + map.size(block) <= lastRun.data.size();
    return isHeld ? lastRun.data.constData() + start : nullptr;
}

bool CacheController::readSlot(ContentMap &map, qint32 block, char *buffer) {
    const qint64 place = qint64(map.get(block)) << kBlockShift;
    if (readAll(contentCache, buffer, map.size(block), place))
        return true;
    freeBlock(map, block);
    return false;
}

// A slot that was given back or evicted may hold another file's block by now.
bool CacheController::ownsSlot(const ContentMap &map, qint32 block) {
    const qint32 slot = map.get(block);
    if (slot < 0)
        return false;
    const auto info = contentCacheDiskMap.valueForKey(slot);
    return info && info->mapVersion == map.version() && info->position == block;
}

void CacheController::freeBlock(ContentMap &map, qint32 block) {
    if (ownsSlot(map, block))
        contentCacheDiskMap.removeQueue(map.get(block));
    map.erase(block);
}

CacheController::MapPtr CacheController::registerToContentCache(
    const QString &path, qint32 startPosition, qint64 fileSize,
    const FileIdentifier &fileIdentifier, bool *versionChanged) {
    const std::lock_guard lock(contentCacheMonitor);
    const QString key = cacheKey(path);
    MapPtr map = contentFileMapping.value(key);
    if (map && (map->filesize != fileSize || !map->identifier.match(fileIdentifier))) {
        remove(key);
        map.reset();
    }
    if (!map) {
        map = std::make_shared<ContentMap>(key, fileSize, fileIdentifier);
        registerContentMap(key, map);
    }
    const Fetch fetched = fetch(path, startPosition, fileSize);
    if (contradicts(fetched, *map)) {
        remove(key);
        *versionChanged = true;
        return map;
    }
    if (fetched.data.size() != fetched.expected)
        return map;
    if (!map->lastModified.isValid())
        map->lastModified = fetched.answer.lastModified;
    if (map->etag.isEmpty())
        map->etag = fetched.answer.etag;
    storeFetched(key, map, startPosition, fetched.data);
    return map;
}

CacheController::Fetch CacheController::fetch(const QString &path, qint32 startPosition,
                                              qint64 fileSize) {
    const qint64 start = qint64(startPosition) << kBlockShift;
    const qint64 rest = fileSize - start;
    const qint64 run = startPosition == 0 ? kFirstFetch : kLaterFetch;
    const bool toTheEnd = rest <= kLaterFetch;
    Fetch fetched;
    if (rest <= 0)
        return fetched;
    fetched.expected = toTheEnd ? rest : run;
    std::optional<Error> error;
    fetched.data = con->filePartDownloadWithSrcpath(path, start, toTheEnd ? -1 : start + run - 1,
                                                    &error, &fetched.answer);
    return fetched;
}

// Whether the answer comes from another version than the map's.
bool CacheController::contradicts(const Fetch &fetch, const ContentMap &map) {
    const RangeAnswer &answer = fetch.answer;
    if (answer.totalSize >= 0 && answer.totalSize != map.filesize)
        return true;
    if (fetch.data.size() > fetch.expected)
        return true;
    if (map.identifier.hasModifiedTime() &&
        differ(map.identifier.modifiedTime, answer.lastModified))
        return true;
    return differ(map.lastModified, answer.lastModified) || differ(map.etag, answer.etag);
}

// What can't be written is left out, as if it had not been fetched.
void CacheController::storeFetched(const QString &path, const MapPtr &map, qint32 startPosition,
                                   const QByteArray &data) {
    qint32 block = startPosition;
    for (qint64 done = 0; done < data.size() && map->exist(block); done += kBlockSize, ++block) {
        const auto bytes = static_cast<qint32>(std::min<qint64>(kBlockSize, data.size() - done));
        freeBlock(*map, block);
        const qint32 slot = writeToContentCache(path, *map, block, data.constData() + done, bytes);
        if (slot < 0)
            break;
        map->set(block, slot, bytes);
    }
    lastRun = {map->version(), startPosition, data};
    // Making room may have emptied this very map, and so dropped it.
    registerContentMap(path, map);
}

// The slot that now holds the bytes; -1 when they couldn't be written.
qint32 CacheController::writeToContentCache(const QString &path, const ContentMap &map, qint32 fpos,
                                            const char *buffer, qint32 size) {
    const auto info =
        std::make_shared<ContentCacheInfo>(ContentCacheInfo{path, fpos, map.version()});
    const qint32 slot = contentCacheDiskMap.addQueue(info);
    if (writeAll(contentCache, buffer, size, qint64(slot) << kBlockShift))
        return slot;
    contentCacheDiskMap.removeQueue(slot);
    return -1;
}

void CacheController::registerContentMap(const QString &path, const MapPtr &map) {
    contentFileMapping.insert(path, map);
}

void CacheController::pushOut(const ContentCacheInfo &info) {
    const MapPtr map = contentFileMapping.value(info.path);
    if (map && map->version() == info.mapVersion && map->erase(info.position))
        contentFileMapping.remove(info.path);
}

// Gives back the slots of the first blocks, as many as are cached. Those further on in a map with
// gaps stay until they are the oldest; nothing reaches them any more.
void CacheController::releaseContentCache(ContentMap &map) {
    for (qint32 block = 0; block < map.count(); ++block) {
        if (ownsSlot(map, block))
            contentCacheDiskMap.removeQueue(map.get(block));
        contentMemorycache.removeObjectForKey(MemoryKey(map.version(), block));
    }
    map.renewVersion();
}

void CacheController::remove(const QString &path) {
    const QString top = cacheKey(path);
    const std::lock_guard lock(contentCacheMonitor);
    for (const QString &key : atOrBelow(contentFileMapping.keys(), top)) {
        if (const MapPtr map = contentFileMapping.value(key)) {
            releaseContentCache(*map);
            // Of a folder's removal the maps below it survive, without their slots.
            contentFileMapping.remove(top);
        }
    }
}

void CacheController::renameFrom(const QString &from, const QString &to) {
    const QString oldPath = cacheKey(from);
    const QString newPath = cacheKey(to);
    const std::lock_guard lock(contentCacheMonitor);
    for (const QString &key : atOrBelow(contentFileMapping.keys(), oldPath)) {
        const QString newKey = QString(key).replace(oldPath, newPath);
        remove(newKey);
        const MapPtr map = contentFileMapping.take(key);
        if (!map)
            continue;
        if (newKey != newPath + key.mid(oldPath.size())) {
            // The name occurs again further inside: another file's key, which must not get these
            // bytes.
            releaseContentCache(*map);
            continue;
        }
        registerContentMap(newKey, map);
        for (const qint32 block : map->cachedBlocks()) {
            contentMemorycache.removeObjectForKey(MemoryKey(map->version(), block));
            if (ownsSlot(*map, block))
                contentCacheDiskMap.valueForKey(map->get(block))->path = newKey;
        }
    }
}

QString CacheController::getFolderType(const QString &path) {
    const std::lock_guard lock(folderTypeMonitor);
    if (const QString *known = folderTypeCache.objectForKey(path))
        return *known;
    QString folderType;
    for (int attempt = 0; attempt < kFolderTypeAttempts; ++attempt) {
        std::optional<Error> error;
        folderType =
            con->getItemProperty(path, QStringLiteral("foldertype"), VelmoraNamespaceURI, &error);
        // A good answer is asked for again as well; it is the last one that is kept.
        if (!error || error->isPosix())
            continue;
        constexpr int kPassing[] = {0, 11, 12, 15, 16};
        const bool passing =
            std::find(std::begin(kPassing), std::end(kPassing), error->code) != std::end(kPassing);
        if (!passing || attempt >= kFolderTypeAttempts - 1)
            return QStringLiteral("");
    }
    folderTypeCache.setObject(folderType, path);
    return folderType;
}
