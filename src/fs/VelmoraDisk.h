#pragma once

#include <memory>
#include <mutex>

#include <QHash>
#include <QSet>
#include <QString>

#include "fs/MountOwner.h"
#include "fs/UserData.h"
#include "platform/fuse/GMUserFileSystem.h"
#include "platform/fuse/GMUserFileSystemDelegate.h"

class AccessControler;
class CacheController;
class FavoritesItem;
class FileSystemInfoCache;
class MetaDataCache;
class VDLockController;
class VDWebDAVConnect;
class VirtualStoreControler;
struct ListingTypes;
struct WebDavResource;

// The volume of one mount: answers every file-system call from the caches where it can, and by
// requests of the session otherwise. Owns the objects of the mount from its construction to its
// unmount. Operations come one at a time on the host's thread.
class VelmoraDisk : public GMUserFileSystemDelegate,
                    public std::enable_shared_from_this<VelmoraDisk> {
  public:
    // Empties and makes the mount's local store, and starts the lock and cleaning threads.
    VelmoraDisk(std::shared_ptr<VDWebDAVConnect> connect, std::weak_ptr<MountOwner> startupmenu,
                const QString &mountPath, const QString &connectionName);
    ~VelmoraDisk() override;

    // The mount point; "" after the unmount. Safe from any thread.
    QString mountPath() const;
    const QString connectionName;  // the volume's name, decomposed
    const std::shared_ptr<VDWebDAVConnect> DAVConnection;

    // Life of the mount.
    void willMount() override;
    void didMount();
    void mountError();
    void willUnmount() override;
    void didUnmount();
    void stopReading() override;

    // Listing and attributes.
    std::optional<QStringList> contentsOfDirectoryAtPath(const QString &path,
                                                         ErrorOut error) override;
    std::optional<bool> isKnownDirectory(const QString &path) override;
    std::shared_ptr<AttributeMap> attributesOfItemAtPath(const QString &path,
                                                         const HandlePtr &userData,
                                                         ErrorOut error) override;
    static bool isWordFile(const QString &path);

    // The volume itself.
    AttributeMap attributesOfFileSystemForPath(const QString &path, ErrorOut error) override;
    bool isCannotWrite(const QString &path);
    std::optional<QByteArray> valueOfExtendedAttribute(const QString &name,
                                                       const QString &ofItemAtPath, qint64 position,
                                                       ErrorOut error) override;

    // Handles.
    bool openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                        ErrorOut error) override;
    int readFileAtPath(const QString &path, const HandlePtr &userData, char *buffer, size_t size,
                       qint64 offset, ErrorOut error) override;
    void releaseFileAtPath(const QString &path, const HandlePtr &userData) override;

  private:
    using EntryPtr = std::shared_ptr<WebDavResourceCache>;

    void disposeMount();
    void removeSidebarEntry();
    void unsubscribe(int *subscription);

    // A record of the item as the server tells it now; test its `error` first.
    std::shared_ptr<WebDavResource> resourceFromServer(const QString &path);
    // A new entry with such a record, entered in the metadata cache.
    EntryPtr entryFromServer(const QString &path);
    EntryPtr entryForHandle(const QString &path, const UserData &handle) const;
    // Asks the server again for an open file's record; false where that failed.
    bool refreshEntry(const QString &path, const EntryPtr &entry);
    // Enters the entry in the metadata cache unless it is there already.
    void keepEntry(const QString &path, const EntryPtr &entry);
    // The errno that a failed question leaves on its entry; 0 for one that reads as missing.
    static int failureOf(const Error &error);
    void makeNegative(const QString &path, const EntryPtr &entry, int failure);
    void enterInParent(const QString &path);
    void leaveParent(const QString &path);
    void noteListingFailure(WebDavResourceCache &entry, const Error &failure);
    // After a listing, reads the attributes of all its items in one request where they are asked
    // for one by one. The path's own entry, which is in the metadata cache then; or null.
    EntryPtr lookAhead(const QString &path);
    void rememberListing(const QString &folder, const QStringList &names,
                         const ListingTypes &types);

    QString quotaPath(const QString &path);
    QString quotaPathOfRoot();
    bool isRefusedByServer(const QString &path, ErrorOut error);

    // Nothing where the local store doesn't hold the current content.
    std::optional<int> readLocalFile(const QString &path, WebDavResourceCache &entry, char *buffer,
                                     size_t size, qint64 offset, ErrorOut error);
    int readServerFile(const QString &path, const EntryPtr &entry, char *buffer, size_t size,
                       qint64 offset, ErrorOut error);

    const std::weak_ptr<MountOwner> startupmenu;
    const std::shared_ptr<MetaDataCache> metaDataCache;
    const std::unique_ptr<VirtualStoreControler> virtualStoreCtl;
    const std::unique_ptr<FileSystemInfoCache> sysInfoCache;
    const std::unique_ptr<AccessControler> accessCol;
    const std::shared_ptr<VDLockController> lockCtr;
    const std::unique_ptr<CacheController> cacheCtr;
    QString lastAccessFilepath = QStringLiteral("/");  // last path opened or created
    QString topFolderType;  // of the server's root; null until it is known

    // What the last listing told of its names; decomposed, as the cache keys are.
    struct {
        QString folder;
        QHash<QString, bool> isFolder;
        QSet<QString> unasked;  // names whose attributes nobody asked for since
        int questions = 0;      // about its names, since it came or was looked ahead of
    } lastListing;

    mutable std::mutex mountMutex;  // guards the four below
    QString currentMountPath;
    QString finderSideItem;  // the sidebar entry of the mount, null without one
    int mountSubscription = 0;
    int unmountSubscription = 0;
};
