#pragma once

#include <QString>

// What a slot of the cache file holds.
struct ContentCacheInfo {
    QString path;
    qint32 position = 0;     // index of the block within the file
    quint64 mapVersion = 0;  // of the map that it was written for
};
