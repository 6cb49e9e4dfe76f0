#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include "common/Error.h"
#include "http/ASHttpConnectInfo.h"
#include "webdav/ContentSource.h"
#include "webdav/RequestDialect.h"
#include "webdav/ServerNames.h"
#include "webdav/UploadProgress.h"

class ASWDCmd;
class ASWDCmdBase;
class ASXMLDomNode;
class ASWDCmdPut;
class ASXMLDomParser;
class DownloadThread;
class UploadThread;
class VDProgressbar;
enum class Outcome;
struct LockDiscovery;
struct ServerCollectionContainer;
struct StatusTable;
struct WebPublicParameter;

using CommandPtr = std::shared_ptr<ASWDCmdBase>;
using HeaderFields = QMap<QString, QString>;

// Carries a second result out of a listing.
struct Writable {
    bool writable = false;
};

// Which names of a listing are folders, where the server's own spelling tells.
struct ListingTypes {
    bool known = false;
    QSet<QString> collections;  // keys as in the listing
};

// The session with one server mount; every server operation is one of its blocking operations.
// Paths are volume paths beginning with "/", joined to mountUrl. Any thread may call any operation;
// the fields are settled by discovery before the session is shared.
//
// Errors are of kConnectErrorDomain unless said; each operation maps statuses by a table of its
// own.
class VDWebDAVConnect : public ContentSource, public std::enable_shared_from_this<VDWebDAVConnect> {
  public:
    VDWebDAVConnect(std::shared_ptr<ASHttpConnectInfo> connectInfo, const QString &requestURL);
    ~VDWebDAVConnect() override;

    // Core.
    std::atomic<int> falseCount{0};
    bool isDAV = false;
    bool mountRoot = false;
    QString velmoraVersion;
    QUrl mountUrl;   // after discovery without ${user} and ${primary}
    QUrl serverUrl;  // scheme, host and port
    std::shared_ptr<ASHttpConnectInfo> coninfo;
    qint64 velmoraPermission = 0;
    qint64 uploadDivideSize = 0;  // bytes an upload part; 0 or less: undivided
    QString encryptKey;
    QString user;
    QString primary;
    QString serverUser;
    QString publicHost;  // no trailing "/"
    qint64 cryptofileversion = 0;

    void countReset();
    void addFalseCount();
    bool isDarby() const;
    void setDarby();
    // Runs the command to its end on this thread's run loop. True means that the exchange ended,
    // not that it worked. False with no error set when it never started.
    bool execute(ASWDCmd &command, ErrorOut error);
    // For good, and from any thread: requests that only read fail, those under way and those to
    // come, unless they are needed to save something.
    void stopReading();
    class NeededRead {
      public:
        explicit NeededRead(VDWebDAVConnect &session);
        ~NeededRead();
        NeededRead(const NeededRead &) = delete;
        NeededRead &operator=(const NeededRead &) = delete;

      private:
        VDWebDAVConnect &session;
    };
    QString connectLog(const ASWDCmd &command, ErrorOut error) const;
    bool cmdLog(const ASWDCmd &command, ErrorOut error) const;
    QString replaceUserPath(const QString &url) const;
    QString excludeReplaceString(const QString &url) const;
    void webExceptionProcess(const void *object);
    // The URL of a volume path as the server spells it. Every request for an item goes there.
    QUrl itemUrl(const QString &path) const;
    RequestDialect dialect() const { return RequestDialect(velmora); }

    // Discovery.
    bool IsDAVServer(const QString &path, ErrorOut error);
    bool IsDAVServer(const QString &path, bool force, ErrorOut error);
    bool IsDAVServerInternal(const QString &path, ErrorOut error);
    bool isVelmora(const QString &path, bool forceCheck, ErrorOut error);
    bool isVelmora(const QString &path, ErrorOut error);
    // What discovery found; asks nobody. Decides between the two kinds of requests.
    bool isVelmora() const { return velmora; }

    // Listing and property reads.
    QMap<QString, QString> getFileList(const QString &path, ErrorOut error);
    // Decoded, decomposed name to the server's own. An error is told from an empty folder by the
    // error.
    QMap<QString, QString> getFileList(const QString &path, Writable *writable, ErrorOut error,
                                       ListingTypes *types = nullptr);
    // The "response" of every item of a folder by the decoded, decomposed name, with these
    // properties. One request and one attempt. Looks ahead of single reads; never for the vendor's
    // server, whose single reads tell more.
    QMap<QString, std::shared_ptr<ASXMLDomNode>> getItemsOfFolder(const QString &path,
                                                                  const QStringList &propNames,
                                                                  const QStringList &nameSpaces,
                                                                  ErrorOut error);
    CommandPtr getCollectionProperty(const QString &path, ErrorOut error);
    CommandPtr getCollectionProperty(const QString &path, const QString &propName, ErrorOut error);
    CommandPtr getCollectionProperty(const QString &path, const QStringList &propNames,
                                     ErrorOut error);
    CommandPtr getItemProperty(const QString &path, ErrorOut error);
    CommandPtr getItemProperty(const QString &path, const QStringList &propNames,
                               const QStringList &nameSpaces, ErrorOut error);
    CommandPtr getItemProperty(const QString &path, const QStringList &propNames,
                               const QStringList &nameSpaces, const HeaderFields &headers,
                               ErrorOut error);
    QString getItemProperty(const QString &path, const QString &propName, const QString &nameSpace,
                            ErrorOut error) override;
    bool IsCollection(const QString &path, ErrorOut error);
    bool fileExsits(const QString &path, ErrorOut error);
    bool headMethod(const QString &url, ErrorOut error);

    // Item changes and property writes. A null QString value removes the property.
    bool fileMoveFrom(const QString &from, const QString &to, ErrorOut error);
    bool fileMoveFrom(const QString &from, const QString &to, bool overWrite, ErrorOut error);
    bool fileMoveFrom(const QString &from, const QString &to, bool overWrite,
                      const std::shared_ptr<LockDiscovery> &lock, ErrorOut error);
    bool fileMoveFrom(const QString &from, const QString &to, bool overWrite,
                      const QList<std::shared_ptr<LockDiscovery>> &locks, ErrorOut error);
    bool fileCopyFrom(const QString &from, const QString &to, bool overWrite, ErrorOut error);
    bool fileCopyFrom(const QString &from, const QString &to, bool overWrite,
                      const std::shared_ptr<LockDiscovery> &lock, ErrorOut error);
    bool fileDelete(const QString &path, ErrorOut error);
    // With the locks that the caller holds on what goes; the vendor's server isn't told of them.
    bool fileDelete(const QString &path, const QList<std::shared_ptr<LockDiscovery>> &locks,
                    ErrorOut error);
    bool fileMakeDirectory(const QString &path, ErrorOut error);
    CommandPtr putProperty(const QString &path, const QString &propName, const QString &propValue,
                           const QString &nameSpace, ErrorOut error);
    CommandPtr putProperty(const QString &path, const QString &propName, const QString &propValue,
                           const QString &nameSpace, const HeaderFields &headers, ErrorOut error);
    CommandPtr putProperties(const QString &path, const HeaderFields &props,
                             const QString &nameSpace, const HeaderFields &headers, ErrorOut error);
    CommandPtr putProperties(const QString &path, const HeaderFields &props,
                             const QString &nameSpace, const HeaderFields &headers,
                             bool sendAsCDATA, ErrorOut error);
    CommandPtr putProperties(const QString &path, const HeaderFields &props,
                             const QString &nameSpace, const HeaderFields &headers,
                             bool sendAsCDATA, const std::shared_ptr<LockDiscovery> &lock,
                             ErrorOut error);
    bool removeProperty(const QString &path, const QString &propName, const QString &nameSpace,
                        ErrorOut error);

    // Locks.
    bool fileLock(const QString &path, ErrorOut error);
    bool fileLock(const QString &path, int timeout,
                  const std::shared_ptr<LockDiscovery> &prevLockDiscovery,
                  std::shared_ptr<LockDiscovery> *lockDiscovery, ErrorOut error);
    bool fileLock(const QString &path, int timeout, bool shared, qint64 lockFileAccess,
                  qint64 lockFileShare, const std::shared_ptr<LockDiscovery> &prevLockDiscovery,
                  std::shared_ptr<LockDiscovery> *lockDiscovery, ErrorOut error);
    bool fileUnlock(const QString &path, ErrorOut error);
    bool fileUnlock(const QString &path, const std::shared_ptr<LockDiscovery> &lockDiscovery,
                    ErrorOut error);
    // Without asking whose lock it is: of one that an earlier process of this user took.
    bool releaseLock(const HeldLock &lock, ErrorOut error);
    std::shared_ptr<LockDiscovery> getLock(const QString &path, ErrorOut error);
    // The lock that a LOCK of this session left on the item without an answer that told its token.
    // Null without one, and where the server doesn't tell owners; the vendor's names only the user.
    // One attempt.
    std::shared_ptr<LockDiscovery> lostLock(const QUrl &item, ErrorOut error);

    // Downloads and queries.
    bool fileDownload(const QString &localPath, const QString &srcpath, const void *dammy,
                      ErrorOut error);
    QByteArray filePartDownloadWithSrcpath(const QString &path, qint64 startBytes, qint64 endBytes,
                                           ErrorOut error, RangeAnswer *answer = nullptr) override;
    QByteArray getMD5(const QString &path, qint64 from, qint64 to, ErrorOut error);
    static QByteArray hexStringtoByte(const QString &text);
    qint64 getFIleSize(const QString &path, qint64 reqsize, ErrorOut error);
    qint64 getFIleSize(const QString &path, qint64 reqsize,
                       std::shared_ptr<LockDiscovery> *lockDiscovery, ErrorOut error);

    // Transfers; implemented beside the threads they start, in src/transfer.
    bool fileUpload(const QString &localPath, const QString &serverPath, const QString &lockToken,
                    ErrorOut error);
    bool fileUpload(const QString &localPath, const QString &serverPath, const QString &lockToken,
                    const std::shared_ptr<ASWDCmdPut> &cmd, const std::atomic<bool> *stopFlg,
                    bool openProgress, ErrorOut error);
    // Those that show their progress. Any thread.
    QList<UploadProgress> uploadsUnderWay() const;
    bool uploadPartFrom(qint64 from, qint64 to, const QString &localpath, const QString &serverPath,
                        const QString &lockToken, const std::shared_ptr<ASWDCmdPut> &cmd,
                        ErrorOut error);
    std::shared_ptr<UploadThread> fileUpload(const QString &localPath, const QString &serverPath,
                                             qint64 startBytes, bool enableResume,
                                             const QString &lockToken, ErrorOut error);
    std::shared_ptr<UploadThread> fileUpload(const QString &localPath, const QString &serverPath,
                                             qint64 startBytes, qint64 endBytes, bool enableResume,
                                             const QString &lockToken, ErrorOut error);
    std::shared_ptr<DownloadThread> fileDownload(const QString &localPath, const QString &srcpath,
                                                 ErrorOut error);
    std::shared_ptr<DownloadThread> fileDownload(const QString &localPath, const QString &srcpath,
                                                 qint64 startBytes, ErrorOut error);
    std::shared_ptr<DownloadThread> fileDownload(const QString &localPath, const QString &srcpath,
                                                 qint64 startBytes, qint64 endBytes,
                                                 ErrorOut error);
    std::shared_ptr<DownloadThread> fileDownload(const QString &localPath, const QString &srcpath,
                                                 qint64 startBytes, qint64 endBytes,
                                                 const QString &eKey, ErrorOut error);

    // Extensions of the vendor's server.
    QString fileSetWebPublic(const QString &path, const WebPublicParameter &webPublicParam,
                             bool isChange, bool isDelivery, ErrorOut error);
    bool fileCancelWebPublic(const QString &path, const WebPublicParameter &webPublicParam,
                             ErrorOut error);
    bool fileCancelWebPublic(const QString &path, const QString &webPublicAddress, ErrorOut error);
    bool fileSetReadOnly(const QString &path, bool setReadOnly, ErrorOut error);
    bool setFileExpire(const QString &path, const QDateTime &expire, ErrorOut error);
    CommandPtr getFileVersioning(const QString &path, const QStringList &propName, ErrorOut error);
    QString getQuotaString(const QString &path, ErrorOut error);
    std::shared_ptr<ServerCollectionContainer> getServerDefault(const QString &path,
                                                                bool isDelivery, ErrorOut error);
    std::shared_ptr<WebPublicParameter> getWebPublicParameter(const QString &path, ErrorOut error);
    QByteArray postMethod(const QString &url, const QVariantMap &paramsData, ErrorOut error);

    // What discovery read in the DAV field: class 2. Items of a standard server without it are
    // written without locks; the vendor's server is asked for them anyway.
    bool announcesLocking = true;
    // Whether the lock is ours. To the vendor's server that is the owner's name; elsewhere the
    // tokens tell that this session was given, since another program may have the same login.
    bool isOwnLock(const LockDiscovery &lock) const;

    // How the server itself spells the names of its items.
    ServerNames serverNames;

  private:
    // One attempt each of the operations that are repeated.
    CommandPtr getCollectionPropertyInternal(const QString &path, ErrorOut error);
    CommandPtr getCollectionPropertyInternal(const QString &path, const QStringList &propNames,
                                             ErrorOut error);
    CommandPtr getItemPropertyInternal(const QString &path, ErrorOut error);
    CommandPtr getItemPropertyInternal(const QString &path, const QStringList &propNames,
                                       const QStringList &nameSpaces, const HeaderFields &headers,
                                       ErrorOut error);
    CommandPtr getItemsOfFolderInternal(const QString &path, const QStringList &propNames,
                                        const QStringList &nameSpaces, ErrorOut error);
    QMap<QString, QString> getFileListInternal(const QString &path, Writable *writable,
                                               ErrorOut error, ListingTypes *types);
    QByteArray getMD5Internal(const QString &path, qint64 from, qint64 to, ErrorOut error);
    std::shared_ptr<ServerCollectionContainer> getServerDefaultInternal(const QString &path,
                                                                        bool isDelivery,
                                                                        ErrorOut error);
    QByteArray postMethodInternal(const QString &url, const QVariantMap &paramsData,
                                  ErrorOut error);
    // Runs a command that changes something, by a table of the vendor's server's statuses.
    Outcome change(ASWDCmd &command, const StatusTable &table, ErrorOut error);
    // The same for one that is made with held locks in "If". Where a standard server doesn't take
    // them, lets go of them, empties the list and makes it again.
    template <typename MakeCommand>
    Outcome changeUnderLocks(const MakeCommand &makeCommand, const StatusTable &table,
                             QList<HeldLock> *held, ErrorOut error, int *status = nullptr);
    CommandPtr putPropertiesInternal(const QString &path, const HeaderFields &props,
                                     const QString &nameSpace, const HeaderFields &headers,
                                     bool sendAsCDATA, const std::shared_ptr<LockDiscovery> &lock,
                                     ErrorOut error);

    // The URL of a volume path, or the full URL that was given in its place.
    QUrl itemOrFullUrl(const QString &pathOrUrl) const;
    // Each with what it was taken on; one that this session didn't take counts as the item's.
    QList<HeldLock> heldLocks(const QList<std::shared_ptr<LockDiscovery>> &locks,
                              const QUrl &item) const;
    // The lock that a LOCK request gave; null with no error where the answer told of none.
    std::shared_ptr<LockDiscovery> lockOfAnswer(const ASWDCmdBase &command,
                                                const LockDiscovery *refreshed, ErrorOut error);
    enum Taken { kNew, kRefreshed };
    void makeOwn(LockDiscovery &lock, const QUrl &item, Taken taken);
    QString lockOwner() const;
    bool markLocked(const QString &path, const LockDiscovery &lock, qint64 access, qint64 share,
                    ErrorOut error);
    // Releases the locks, which then aren't own any more; none of the vendor's server.
    void letGo(QList<HeldLock> *locks);
    bool needsLocks() const { return velmora || announcesLocking; }

    CommandPtr propFind(const QUrl &url, int depth, const QString &body, HeaderFields headers,
                        const StatusTable &table, ErrorOut error);
    // The tree of an answer; without a root, and with code 15, where the text is broken and that
    // isn't tolerated.
    std::optional<ASXMLDomParser> parsedBody(const ASWDCmdBase &command, const QString &output,
                                             ErrorOut error) const;
    // Whether a listing of the folders on the way told another spelling of the path.
    bool learnSpelling(const QString &path);
    void warnOfLeftOutNames(const QString &folder);

    bool uploadInParts(const QString &localPath, const QString &serverPath,
                       const QString &lockToken, qint64 size, const std::atomic<bool> *stopFlg,
                       bool openProgress, ErrorOut error);
    // Opens the display, and counts the upload as under way while it is held.
    std::shared_ptr<VDProgressbar> showUpload(const QString &serverPath, qint64 size,
                                              std::optional<qint8> displaytype);
    std::shared_ptr<VDWebDAVConnect> sharedSession();

    QString logText(const ASWDCmd &command, const QString &what) const;
    void learnFromOptions(const ASWDCmd &command);
    void applyLetters(const QStringList &letters, bool publicWeb, bool sendMail);
    bool acceptsCertificate() const;
    bool askLogin(bool isProxy) const;

    // A command's time under way. One that only reads doesn't start once reading has stopped.
    class UnderWay;

    bool velmora = false;
    std::mutex underWayMutex;  // guards the three below
    bool readingStopped = false;
    int neededReads = 0;
    QSet<ASWDCmd *> underWay;           // those that only read
    mutable std::mutex ownTokensMutex;  // guards ownTokens
    QHash<QString, QUrl> ownTokens;     // of the locks this session holds, and what they are on
    const QString lockMark;             // tells this session's locks from any other's
    std::atomic<bool> darby{false};     // once set it stays
    std::mutex leftOutMutex;            // guards leftOutFolders
    QSet<QString> leftOutFolders;       // whose left-out names have been logged
    mutable std::mutex uploadsMutex;    // guards uploads
    QList<std::weak_ptr<VDProgressbar>> uploads;
};
