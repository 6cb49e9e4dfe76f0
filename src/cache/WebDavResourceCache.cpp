#include "cache/WebDavResourceCache.h"

#include <utility>

#include "cache/CachePaths.h"
#include "model/WebDavResource.h"

namespace {

void keepExtendAttrs(const WebDavResource &present, WebDavResource &next) {
    if (!present.extendAttrs || present.extendAttrs == next.extendAttrs)
        return;
    if (next.extendAttrs)
        next.extendAttrs->insert(*present.extendAttrs);
    else
        next.extendAttrs = present.extendAttrs;
}

}  // namespace

std::shared_ptr<WebDavResource> WebDavResourceCache::webDavResource() const {
    const std::lock_guard lock(fieldMutex);
    return resource;
}

void WebDavResourceCache::setWebDavResource(const std::shared_ptr<WebDavResource> &newResource) {
    std::shared_ptr<WebDavResource> previous = newResource;  // let go of outside the lock
    const std::lock_guard lock(fieldMutex);
    if (newResource && resource)
        keepExtendAttrs(*resource, *newResource);
    resource.swap(previous);
    since = std::chrono::steady_clock::now();
}

std::chrono::steady_clock::duration WebDavResourceCache::age() const {
    const std::lock_guard lock(fieldMutex);
    return std::chrono::steady_clock::now() - since;
}

std::shared_ptr<UploadTask> WebDavResourceCache::uploadThread() const {
    const std::lock_guard lock(fieldMutex);
    return upload;
}

void WebDavResourceCache::setUploadThread(const std::shared_ptr<UploadTask> &uploader) {
    // Outside the lock, since it waits for the upload, which may be asking for its record.
    const auto present = uploadThread();
    if (present && present != uploader)
        present->uploadCancel(false);
    std::shared_ptr<UploadTask> previous = uploader;
    const std::lock_guard lock(fieldMutex);
    upload.swap(previous);
}

void WebDavResourceCache::insertChilds(const QStringList &names) {
    if (!children)
        return;
    for (const QString &name : names) {
        const QString key = cacheKey(name);
        children->insert(key, key);
    }
}

void WebDavResourceCache::insertChilds(const QMap<QString, QString> &names) {
    insertChilds(names.keys());
}

void WebDavResourceCache::insertChilds(const QString &name) {
    insertChilds(QStringList{name});
}

void WebDavResourceCache::removeChild(const QString &name) {
    if (children)
        children->remove(cacheKey(name));
}
