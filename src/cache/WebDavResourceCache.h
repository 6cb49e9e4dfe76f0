#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "cache/UploadTask.h"

struct WebDavResource;

// What the mount knows of one path. The fields are guarded by syncObj, which is for the callers;
// the resource and the upload may be asked for from any thread without it.
class WebDavResourceCache {
  public:
    // Bits of place; none: the item doesn't exist.
    static constexpr qint32 kOnServer = 1;
    static constexpr qint32 kInLocalStore = 2;

    // Guards the record for the length of a caller's work on it. Taken before every lock of a
    // cache.
    std::recursive_mutex syncObj;

    bool server_forbidden = false;  // the server refused access: no need to ask again
    qint32 place = 0;
    // Why a place of 0 isn't the server's word: the errno of the failed question, 0 for "missing".
    int failure = 0;
    qint32 file_node = -1;      // descriptor of the open local copy, -1 without one
    bool streamActive = false;  // a local copy is in use
    // The entity tag of the server's version that the local copy still is; empty where it is none.
    QString localVersion;
    // Open handles of the path, and those of them that may write.
    int handles = 0;
    int writers = 0;
    // The path is somebody else's by now: it was removed, replaced, or its upload was given up. The
    // handles that are still open have this record to themselves, and nothing of it is uploaded.
    bool detached = false;
    // Child name to itself, decomposed; unset while the listing is unknown, which an empty one
    // isn't.
    std::optional<QMap<QString, QString>> children;
    std::optional<QVariantMap> extendAttribute;

    std::shared_ptr<WebDavResource> webDavResource() const;
    // The extended attributes of the present resource survive in the new one and win over its own.
    void setWebDavResource(const std::shared_ptr<WebDavResource> &resource);
    // Since when the present resource, or its absence, stands.
    std::chrono::steady_clock::duration age() const;

    std::shared_ptr<UploadTask> uploadThread() const;
    // Cancels the present upload, if it is another one; the item it was sending stays.
    void setUploadThread(const std::shared_ptr<UploadTask> &uploader);

    // No effect while the listing is unknown.
    void insertChilds(const QStringList &names);
    void insertChilds(const QMap<QString, QString> &names);
    void insertChilds(const QString &name);
    void removeChild(const QString &name);

  private:
    mutable std::mutex fieldMutex;  // guards the three below; nothing is taken inside it
    std::shared_ptr<WebDavResource> resource;
    std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
    std::shared_ptr<UploadTask> upload;
};
