#pragma once

#include <memory>
#include <optional>

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QUrl>
#include <QVariant>

#include "common/Error.h"
#include "platform/fuse/FileAttributes.h"
#include "webdav/LockDiscovery.h"

class ASXMLDomNode;
class ASXMLDomParser;
class VDWebDAVConnect;
struct WebPublicParameter;

// One item on the server with all that the server says about it. A failed read is a record with
// `error` set and everything else at its default, so test `error` first. References are shared;
// a record has no lock of its own. A null string or an invalid date means "not told".
struct WebDavResource {
    QUrl serverRoot;
    QString relativePath;
    int contentType = 0;  // 0 a folder, 1 a file
    qint64 fileSize = 0;
    QDateTime fileCreationDate;
    QDateTime fileLastModified;
    QDateTime fileUploadDate;
    QDateTime fileChangeDate;
    QString md5;
    QString etag;  // without a weak mark; asked of servers that aren't the vendor's
    QString creationUser;
    QString modificationUser;
    QString fileComment;
    QString expire;
    qint64 lockType = 0;  // 0 none, 1 read-only mark, 2 locked
    QString readonlyOwner;
    std::shared_ptr<LockDiscovery> lockDiscovery;
    QString webPublicAddress;
    QString folderType;
    QString publicHostFromServer;
    bool isApproval = false;
    bool isReport = false;
    bool permissionReadOnly = false;
    std::shared_ptr<AttributeMap> extendAttrs;
    std::optional<Error> error;
    // The answer broke off or told of no item: what isn't set is unknown.
    bool incomplete = false;
    bool isWebDelivery = false;
    bool isSuspend = false;
    QString encryptsha;
    QVariant version;

    // Asks the server; never null.
    static std::shared_ptr<WebDavResource> createWebDAVItem(VDWebDAVConnect &session,
                                                            const QUrl &serverRoot,
                                                            const QString &path);
    // When a "lockdiscovery" element counts. The vendor's server puts white space into one that
    // tells a lock; other servers don't.
    enum class LockReading { onlyWithText, always };
    // Never null; an empty tree gives a file.
    static std::shared_ptr<WebDavResource> parsePropertyXML(
        const ASXMLDomParser &parser, LockReading lockReading = LockReading::onlyWithText);
    // One "response" of an answer that holds several.
    static std::shared_ptr<WebDavResource> parsePropertyXML(const ASXMLDomNode &response,
                                                            LockReading lockReading);
    // Every item of a folder by its decomposed name, in one request; for servers that aren't the
    // vendor's. Empty where it failed.
    static QHash<QString, std::shared_ptr<WebDavResource>> createWebDAVItemsOfFolder(
        VDWebDAVConnect &session, const QUrl &serverRoot, const QString &path);
    // From path to "response" node, for bulk listings. Reads some properties differently, see
    // there.
    static QHash<QString, std::shared_ptr<WebDavResource>> createFromHash(
        const QHash<QString, std::shared_ptr<ASXMLDomNode>> &nodes, const QUrl &serverRoot,
        const QString &publicHostFromServer);
    // An item just created here: dated now, of size 0.
    static std::shared_ptr<WebDavResource> createNewFileIsDirectory(bool isDirectory);
    // Null where the path doesn't exist.
    static std::shared_ptr<WebDavResource> createFromLocalFile(const QString &path);
    // Takes kind, date, size and on request the MD5 of the local file that holds the content.
    static void updateFromLocalFile(const QString &path,
                                    const std::shared_ptr<WebDavResource> &resource,
                                    bool isCalcMD5);

    // The item's URL, percent-encoded; "" without a relativePath.
    QString fullPath() const;
    // The last component of that, percent-encoded too.
    QString fileName() const;
    // Always null; publicHostFromServer is the one to use.
    QString publicHost() const;
    // Writes into extendAttrs where it is set, and returns that same object.
    std::shared_ptr<AttributeMap> fileInfomation() const;
    QString getColumnValue() const;

    // These four are complete but not called: the windows and the volume ask the session itself.
    void fileWebPublicCancel(VDWebDAVConnect &session);
    // Does nothing; "".
    QString fileDeliverryOperate(VDWebDAVConnect &session,
                                 const WebPublicParameter &webPublicParameter, bool isChanged);
    // The field changes even where the server refused.
    void fileLockOperate(VDWebDAVConnect &session, bool lockFlg);
    // The field changes only where the server agreed.
    void fileReadOnlyOperate(VDWebDAVConnect &session, bool readOnlyFlg);
    void setCreationDate(const QDateTime &date) { fileCreationDate = date; }
    void setLastModified(const QDateTime &date) { fileLastModified = date; }
};
