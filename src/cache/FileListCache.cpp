#include "cache/FileListCache.h"

#include "cache/CachePaths.h"

FileListCache::FileListCache(const CacheTiming &timing)
    : ExpiryCacheGeneric(kDefaultValidTime, timing) {}

void FileListCache::insertFileList(const QString &path, const std::shared_ptr<QStringList> &value) {
    insert(cacheKey(path), value);
}

std::shared_ptr<QStringList> FileListCache::getFileList(const QString &path) {
    return std::static_pointer_cast<QStringList>(get(cacheKey(path)));
}

void FileListCache::removeFileList(const QString &path) {
    const QString key = cacheKey(path);
    const auto names = getFileList(key);
    if (!names)
        return;
    // Gone before its children, so that a listing that names its own folder ends.
    remove(key);
    for (const QString &name : std::as_const(*names))
        removeFileList(key + QLatin1Char('/') + name);
}
