#pragma once

#include <memory>
#include <mutex>

#include <QMap>
#include <QString>

#include "cache/CacheClock.h"
#include "cache/FileSystemInfo.h"

// The sizes of volumes, by path. Safe from any thread.
class FileSystemInfoCache {
  public:
    explicit FileSystemInfoCache(CacheClock now = cacheNow) : now(std::move(now)) {}

    void setInfo(const QString &path, const std::shared_ptr<FileSystemInfo> &value);
    // Null when unknown or too old.
    std::shared_ptr<FileSystemInfo> getInfo(const QString &path);

  private:
    const CacheClock now;
    std::mutex systemCacheSyncObj;  // guards sizeCache
    QMap<QString, std::shared_ptr<FileSystemInfo>> sizeCache;
};
