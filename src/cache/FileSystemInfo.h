#pragma once

#include <QtGlobal>

#include "cache/CacheClock.h"

// The sizes of a volume, good for a minute.
struct FileSystemInfo {
    explicit FileSystemInfo(CacheTime now = cacheNow()) : limit(now + std::chrono::seconds(60)) {}

    bool getable = false;  // the server told
    qint64 usedSize = 0;   // bytes
    qint64 allSize = 0;    // bytes
    CacheTime limit;
};
