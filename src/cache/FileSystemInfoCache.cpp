#include "cache/FileSystemInfoCache.h"

void FileSystemInfoCache::setInfo(const QString &path,
                                  const std::shared_ptr<FileSystemInfo> &value) {
    const std::lock_guard lock(systemCacheSyncObj);
    sizeCache.insert(path, value);
}

std::shared_ptr<FileSystemInfo> FileSystemInfoCache::getInfo(const QString &path) {
    const std::lock_guard lock(systemCacheSyncObj);
    const QStringList keys = sizeCache.keys();
    for (const QString &key : keys) {
        // It is the asked record's age that counts, whichever key is in hand: an old one takes all
        // keys up to its own with it, and then no longer answers for the rest.
        const auto asked = sizeCache.value(path);
        if (asked && asked->limit < now())
            sizeCache.remove(key);
    }
    return sizeCache.value(path);
}
