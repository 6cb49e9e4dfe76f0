#include "cache/MetaDataCache.h"

#include "cache/CachePaths.h"

namespace {

// A path under upload never expires.
bool isUploading(const ExpiryCacheGeneric::ValuePtr &value) {
    return value && static_cast<const WebDavResourceCache *>(value.get())->uploadThread();
}

}  // namespace

MetaDataCache::MetaDataCache(const CacheTiming &timing)
    : ExpiryCacheGeneric(kMetaDataValidTime, timing, isUploading) {}

void MetaDataCache::insertMetaData(const QString &path, const RecordPtr &value) {
    const std::lock_guard lock(metasync);
    insert(cacheKey(path), value);
}

MetaDataCache::RecordPtr MetaDataCache::getMetaData(const QString &path) {
    return std::static_pointer_cast<WebDavResourceCache>(get(cacheKey(path)));
}

void MetaDataCache::removeMetaData(const QString &path) {
    removeMetaDataStopUpload(path, true);
}

void MetaDataCache::removeMetaDataStopUpload(const QString &path, bool stopUpload) {
    const RecordPtr record = getMetaData(path);
    remove(cacheKey(path));
    if (!stopUpload || !record)
        return;
    if (const auto upload = record->uploadThread())
        upload->uploadCancel(false);
}

void MetaDataCache::removeMetaDataFromDelete(const QString &path, bool fromDelete) {
    const std::lock_guard lock(metasync);
    for (const QString &key : keysAtOrBelow(path)) {
        RecordPtr record = getMetaData(key);
        if (!fromDelete) {
            remove(key);
        } else {
            // Open handles keep theirs, or a new file of that name would become theirs.
            if (record && record->handles > 0)
                record->detached = true;
            if (!record || record->detached)
                record = std::make_shared<WebDavResourceCache>();
            record->place = 0;
            record->failure = 0;
            record->setWebDavResource(nullptr);
            record->children.reset();
            insertMetaData(key, record);
        }
        if (const auto upload = record ? record->uploadThread() : nullptr)
            upload->uploadCancel(false);
    }
}

void MetaDataCache::renameFrom(const QString &from, const QString &to) {
    const QString oldPath = cacheKey(from);
    const QString newPath = cacheKey(to);
    const std::lock_guard lock(metasync);
    for (const QString &key : keysAtOrBelow(oldPath)) {
        // In front alone: with the name that occurs again further inside, the record of a file in
        // a folder of its own name would become another file's.
        const QString newKey = newPath + key.mid(oldPath.size());
        const RecordPtr record = getMetaData(key);
        if (!record) {
            removeMetaData(newKey);
            continue;
        }
        record->extendAttribute.reset();
        insertMetaData(newKey, record);
        removeMetaDataStopUpload(key, false);
        if (const auto upload = record->uploadThread()) {
            upload->setDestPath(newKey);
            upload->setMoveLock(false);
        }
    }
}

QStringList MetaDataCache::writtenBelow(const QString &folder) {
    QString top = cacheKey(folder);
    if (!top.endsWith(QLatin1Char('/')))
        top += QLatin1Char('/');
    QStringList written;
    for (const QString &key : KeySet()) {
        const RecordPtr record = key.startsWith(top) ? getMetaData(key) : nullptr;
        if (record && record->writers > 0)
            written.append(key);
    }
    return written;
}

void MetaDataCache::setMoveLock(const QString &path) {
    const std::lock_guard lock(metasync);
    for (const QString &key : keysAtOrBelow(path)) {
        const RecordPtr record = getMetaData(key);
        if (const auto upload = record ? record->uploadThread() : nullptr)
            upload->setMoveLock(true);
    }
}

QStringList MetaDataCache::keysAtOrBelow(const QString &path) const {
    return atOrBelow(KeySet(), cacheKey(path));
}
