#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include <QByteArray>
#include <QHash>
#include <QString>

#include "cache/ContentCacheInfo.h"
#include "cache/ContentMap.h"
#include "cache/FileIdentifier.h"
#include "cache/LRUQueue.h"
#include "cache/NSCache.h"

class ContentSource;
class MetaDataCache;
struct RangeAnswer;

// Serves reads of server files from one local file of 200 MiB at most, in blocks of 64 KiB,
// fetching runs of blocks from the server. What it holds of a path is of exactly one version.
// Nothing of it survives the mount. Safe from any thread; a fetch holds up every other read, so
// that no range is fetched twice.
class CacheController {
  public:
    // The server's file is no longer the version that was asked for.
    static constexpr qint32 kVersionChanged = -2;
    static constexpr qint32 kSlotCount = 3200;

    // Empties the file at tempFileName, or makes it with its folders.
    CacheController(std::shared_ptr<ContentSource> con, const QString &tempFileName,
                    qint32 slotCount = kSlotCount);
    ~CacheController();
    CacheController(const CacheController &) = delete;
    CacheController &operator=(const CacheController &) = delete;

    void setMetadataCache(std::shared_ptr<MetaDataCache> cache) {
        metadataCache = std::move(cache);
    }

    // Fills the buffer from the file's byte at offset. The bytes delivered, fewer at the file's
    // end; -1 on failure; kVersionChanged. 0 at or beyond the end, and for good after a version's
    // first fetch failed, until remove() of the path.
    qint32 read(const QString &path, char *buffer, qint64 offset, quint64 requestSize,
                qint64 fileSize, const FileIdentifier &fileIdentifier);
    // Drops the path's version. What lies below the path keeps its tables, but not its blocks.
    void remove(const QString &path);
    // Moves what is held of the path and of everything below it.
    void renameFrom(const QString &from, const QString &to);
    // Closes and deletes the cache file. Reads fail from then on.
    void disposeCache();
    // The server's type of a folder, remembered; "" where the server has none to give.
    QString getFolderType(const QString &path);

  private:
    using MapPtr = std::shared_ptr<ContentMap>;
    using MemoryKey = std::pair<quint64, qint32>;  // version of the map, block
    struct Fetch;

    MapPtr registerToContentCache(const QString &path, qint32 startPosition, qint64 fileSize,
                                  const FileIdentifier &fileIdentifier, bool *versionChanged);
    Fetch fetch(const QString &path, qint32 startPosition, qint64 fileSize);
    static bool contradicts(const Fetch &fetch, const ContentMap &map);
    void storeFetched(const QString &path, const MapPtr &map, qint32 startPosition,
                      const QByteArray &data);
    qint32 writeToContentCache(const QString &path, const ContentMap &map, qint32 fpos,
                               const char *buffer, qint32 size);
    void registerContentMap(const QString &path, const MapPtr &map);
    void pushOut(const ContentCacheInfo &info);
    void releaseContentCache(ContentMap &map);

    qint32 copyBlocks(const QString &path, MapPtr map, char *buffer, qint64 offset, qint32 request,
                      qint64 fileSize, const FileIdentifier &fileIdentifier);
    qint32 deliver(ContentMap &map, qint32 block, qint32 inBlock, char *buffer, qint32 request);
    // The block's bytes where the last fetch still holds them, else null.
    const char *inLastRun(const ContentMap &map, qint32 block) const;
    bool readSlot(ContentMap &map, qint32 block, char *buffer);
    bool ownsSlot(const ContentMap &map, qint32 block);
    void freeBlock(ContentMap &map, qint32 block);

    const QString contentCacheFilePath;
    const std::shared_ptr<ContentSource> con;
    std::shared_ptr<MetaDataCache> metadataCache;  // the mount's; kept for it

    // Guards everything below but the folder types.
    std::recursive_mutex contentCacheMonitor;
    int contentCache = -1;  // descriptor of the cache file
    QHash<QString, MapPtr> contentFileMapping;
    NSCache<MemoryKey, QByteArray> contentMemorycache;
    // What the last fetch brought: a reader that goes on gets it without the way through the file.
    struct {
        quint64 version = 0;  // of the map
        qint32 firstBlock = 0;
        QByteArray data;
    } lastRun;
    LRUQueue<ContentCacheInfo> contentCacheDiskMap;

    std::mutex folderTypeMonitor;  // guards folderTypeCache, requests included
    NSCache<QString, QString> folderTypeCache;
};
