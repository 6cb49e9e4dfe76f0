#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include <QHash>
#include <QMap>
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
struct LockTiming;
struct UploadFailure;
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
    // With a clock other than the computer's.
    VelmoraDisk(std::shared_ptr<VDWebDAVConnect> connect, std::weak_ptr<MountOwner> startupmenu,
                const QString &mountPath, const QString &connectionName,
                const LockTiming &lockTiming);
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
    bool createFileAtPath(const QString &path, const AttributeMap &attributes, int flags,
                          HandlePtr *userData, ErrorOut error) override;
    int writeFileAtPath(const QString &path, const HandlePtr &userData, const char *buffer,
                        size_t size, qint64 offset, ErrorOut error) override;
    bool synchronizeFileAtPath(const QString &path, const HandlePtr &userData,
                               ErrorOut error) override;
    // Sends what was written, and waits for the server. Can't fail towards its caller: the user is
    // told, and what the server didn't take is kept in the user's home.
    void releaseFileAtPath(const QString &path, const HandlePtr &userData) override;
    bool tookBackWrites() const override { return gaveUpUploads; }

    // Changes of the tree and of attributes.
    bool createDirectoryAtPath(const QString &path, const AttributeMap &attributes,
                               ErrorOut error) override;
    bool moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error) override;
    bool exchangeDataOfItemAtPath(const QString &path, const QString &withItemAtPath,
                                  ErrorOut error) override;
    bool removeDirectoryAtPath(const QString &path, ErrorOut error) override;
    bool removeItemAtPath(const QString &path, ErrorOut error) override;
    bool setAttributes(const AttributeMap &attributes, const QString &ofItemAtPath,
                       const HandlePtr &userData, ErrorOut error) override;
    // What a move or a removal means to the caches alone. With an item, it is a name in both
    // folders.
    void moveSubItemAtPath(const QString &item, const QString &fromParent, const QString &toParent);
    void removeSubItemAtPath(const QString &path);

  private:
    using EntryPtr = std::shared_ptr<WebDavResourceCache>;

    void disposeMount();
    // Tells the user of the unsent copies that the local store was left with.
    void tellSavedCopies();
    void removeSidebarEntry();
    void unsubscribe(int *subscription);

    // A record of the item as the server tells it now; test its `error` first.
    std::shared_ptr<WebDavResource> resourceFromServer(const QString &path);
    // A new entry with such a record, entered in the metadata cache.
    EntryPtr entryFromServer(const QString &path);
    int checkAbsence(const QString &path);
    // 0, or the errno for the caller; the handle then counts on the server's lock.
    int lockForWriting(const QString &path, WebDavResourceCache &entry, UserData &handle);
    void addHandle(const QString &path, const EntryPtr &entry,
                   const std::shared_ptr<UserData> &handle, HandlePtr *userData);
    // Asks the server again for an open file's record. 0 or an errno.
    int refreshEntry(const QString &path, const EntryPtr &entry);
    // Enters the entry in the metadata cache unless it is there already.
    void keepEntry(const QString &path, const EntryPtr &entry);
    // The errno that a failed question leaves on its entry; 0 for one that reads as missing.
    static int failureOf(const Error &error);
    void makeNegative(const QString &path, const EntryPtr &entry, int failure);
    void enterInParent(const QString &path);
    void leaveParent(const QString &path);
    QStringList namesOfNewFiles(const QString &folder);
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

    // The local copy. Errors are errno values, 0 on success; the caller holds the entry's syncObj.
    int withRoom(const QString &path, const std::function<int()> &work);
    int prepareWriting(const QString &path, const EntryPtr &entry, const UserData &handle);
    int startLocalFile(const QString &path, const EntryPtr &entry);
    int fillFromServer(const QString &path, const EntryPtr &entry, int node);
    int copyVersion(const QString &path, const WebDavResource &resource, int node);
    void noteLocalFile(const QString &path, const EntryPtr &entry);

    // Release, for its kinds of handles.
    void releaseReader(const QString &path, const EntryPtr &entry, UserData &handle);
    // False where the upload failed.
    bool releaseWriter(const QString &path, const EntryPtr &entry, UserData &handle);
    // Sends the file; what the server has then.
    bool upload(const QString &path, WebDavResourceCache &entry, const UserData &handle,
                UploadFailure *failure, std::shared_ptr<WebDavResource> *stored);
    bool retakeLock(const QString &path, WebDavResourceCache &entry, const UserData &handle);
    bool isQuotaFull();
    void takeFreshRecord(const QString &path, WebDavResourceCache &entry,
                         const std::shared_ptr<WebDavResource> &fresh);
    void giveUpUpload(const QString &path, const EntryPtr &entry, const UserData &handle,
                      const UploadFailure &failure);
    void deleteIfEmpty(const QString &path);
    void rescue(const QString &path, int node);

    // Changes of the tree.
    bool mapFailure(const std::optional<Error> &failure, const QMap<int, int> &codes, int otherwise,
                    ErrorOut error);
    bool isFailedSave(const QString &path);
    bool isEmptyFolder(const QString &folder, ErrorOut error);
    // Before an item goes that is open: its handles keep the content. Whether a local copy was made
    // for that, which dropContent removes if the item stays.
    bool keepContent(const QString &path, const EntryPtr &entry);
    void dropContent(const QString &path, const EntryPtr &entry);
    // After it went: its handles have the entry to themselves.
    void detach(const QString &path, const EntryPtr &entry);
    bool removeOnServer(const QString &path, const WebDavResourceCache &entry, ErrorOut error);
    bool wasMoved(const QString &path, const QString &toPath, const WebDavResourceCache &replaced,
                  const Error &failure);
    void moveLocalItem(const QString &from, const QString &to);
    bool truncate(const QString &path, UserData &handle, qint64 size, bool *result, ErrorOut error);
    bool sendDates(const QString &path, const QMap<QString, QString> &headers, ErrorOut error);
    void enterInListing(const QString &path, bool isFolder);
    void leaveListing(const QString &path);

    const std::weak_ptr<MountOwner> startupmenu;
    const std::shared_ptr<MetaDataCache> metaDataCache;
    const std::unique_ptr<VirtualStoreControler> virtualStoreCtl;
    const std::unique_ptr<FileSystemInfoCache> sysInfoCache;
    const std::unique_ptr<AccessControler> accessCol;
    const std::shared_ptr<VDLockController> lockCtr;
    const std::unique_ptr<CacheController> cacheCtr;
    QString lastAccessFilepath = QStringLiteral("/");  // last path opened or created
    // New files that a program closed and the server didn't take, and when, until they are
    // replaced, removed or sent.
    QHash<QString, std::chrono::steady_clock::time_point> failedUploads;
    bool gaveUpUploads = false;  // by the last release
    QString topFolderType;       // of the server's root; null until it is known

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
