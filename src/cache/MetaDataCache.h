#pragma once

#include <memory>
#include <mutex>

#include "cache/ExpiryCacheGeneric.h"
#include "cache/WebDavResourceCache.h"

// The records of the mount's paths, each for three seconds, for as long as an open file holds it,
// or for as long as its upload runs. It knows absent paths as well: a record of place 0. Safe from
// any thread; paths may come in any canonical form.
class MetaDataCache : public ExpiryCacheGeneric {
  public:
    using RecordPtr = std::shared_ptr<WebDavResourceCache>;

    static constexpr double kMetaDataValidTime = 3.0;

    explicit MetaDataCache(const CacheTiming &timing = {});

    void insertMetaData(const QString &path, const RecordPtr &value);
    RecordPtr getMetaData(const QString &path);

    // Forgets one path and stops its upload, unless told not to.
    void removeMetaData(const QString &path);
    void removeMetaDataStopUpload(const QString &path, bool stopUpload);
    // The path and everything below it: after a deletion the records turn into absent ones, else
    // they go. Their uploads stop.
    void removeMetaDataFromDelete(const QString &path, bool fromDelete);
    // The path and everything below it. Uploads are told where their item went.
    void renameFrom(const QString &from, const QString &to);
    // The files below a folder that are open for writing; decomposed.
    QStringList writtenBelow(const QString &folder);
    // Holds back the final move of every upload at or below the path, until renameFrom.
    void setMoveLock(const QString &path);

  private:
    QStringList keysAtOrBelow(const QString &path) const;

    // Held across whole subtree operations. Taken before the store's own lock and before an
    // upload's.
    std::recursive_mutex metasync;
};
