#include "model/WebDavResource.h"

#include <QFileInfo>

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmd.h"
#include "webdav/Namespaces.h"
#include "webdav/VDWebDAVConnect.h"
#include "webdav/WebPublicParameter.h"
#include "xml/ASXMLDomParser.h"

namespace {

constexpr int kCommandFailure = 0;
constexpr int kParseFailure = 15;
constexpr qint64 kReadOnlyMark = 1;
constexpr qint64 kLocked = 2;
const QString kCheckWritable = QStringLiteral("X-KQ-CHECK-WRITABLE");

struct Property {
    QString name;
    const QString &nameSpace;
};

const QList<Property> kProperties{
    {QStringLiteral("resourcetype"), kDavNamespaceURI},
    {QStringLiteral("creationdate"), kDavNamespaceURI},
    {QStringLiteral("getlastmodified"), kDavNamespaceURI},
    {QStringLiteral("uploadtime"), VelmoraNamespaceURI},
    {QStringLiteral("getcontentlength"), kDavNamespaceURI},
    {QStringLiteral("creationuser"), kDavNamespaceURI},
    {QStringLiteral("modificationuser"), kDavNamespaceURI},
    {QStringLiteral("MD5"), VelmoraNamespaceURI},
    {QStringLiteral("expire"), VelmoraNamespaceURI},
    {QStringLiteral("readonly"), VelmoraNamespaceURI},
    {QStringLiteral("readonlyowner"), VelmoraNamespaceURI},
    {QStringLiteral("publicaddress"), VelmoraNamespaceURI},
    {QStringLiteral("checked-in"), kDavNamespaceURI},
    {QStringLiteral("velmoradisk-readonly"), VelmoraNamespaceURI},
    {QStringLiteral("velmoradisk-attributes"), VelmoraNamespaceURI},
    {QStringLiteral("lockdiscovery"), kDavNamespaceURI},
    {QStringLiteral("lockshare"), VelmoraNamespaceURI},
    {QStringLiteral("lockaccess"), VelmoraNamespaceURI},
    {QStringLiteral("foldertype"), VelmoraNamespaceURI},
    {QStringLiteral("filecomment"), VelmoraNamespaceURI},
    {QStringLiteral("publicapproval_status"), VelmoraNamespaceURI},
    {QStringLiteral("report"), VelmoraNamespaceURI},
};

std::shared_ptr<WebDavResource> failedRead(const Error &error) {
    const auto resource = std::make_shared<WebDavResource>();
    resource->error = error;
    return resource;
}

// Where there is no digest it tells versions of one size and second apart.
const Property kEntityTag{QStringLiteral("getetag"), kDavNamespaceURI};

struct Question {
    QStringList names;
    QStringList nameSpaces;

    explicit Question(const VDWebDAVConnect &session) {
        for (const Property &property : kProperties)
            add(property);
        if (!session.isVelmora())
            add(kEntityTag);
    }
    void add(const Property &property) {
        names.append(property.name);
        nameSpaces.append(property.nameSpace);
    }
};

CommandPtr askProperties(VDWebDAVConnect &session, const QString &path, ErrorOut error) {
    const Question question(session);
    return session.getItemProperty(path, question.names, question.nameSpaces,
                                   {{kCheckWritable, QStringLiteral("")}}, error);
}

// An answer that breaks off or isn't a multi-status shows a file of size 0 in the place of the real
// item.
bool isWhole(const ASXMLDomParser &parser) {
    return !parser.error && parser.rootElement &&
           parser.rootElement->findFirstName(QStringLiteral("response"));
}

}  // namespace

std::shared_ptr<WebDavResource> WebDavResource::createWebDAVItem(VDWebDAVConnect &session,
                                                                 const QUrl &serverRoot,
                                                                 const QString &path) {
    std::optional<Error> failure;
    const CommandPtr command = askProperties(session, path, &failure);
    if (!failure && !command)
        failure = Error{kConnectErrorDomain, kCommandFailure, {}};
    if (failure)
        return failedRead(*failure);

    ASXMLDomParser parser;
    if (!parser.parse(command->responseBody) ||
        !(isWhole(parser) || session.dialect().toleratesBrokenXml()))
        return failedRead({kConnectErrorDomain,
                           kParseFailure,
                           {{QStringLiteral("OUTPUT"), QStringLiteral("Failure XML PARSE")}}});

    const auto resource = parsePropertyXML(
        parser, session.isVelmora() ? LockReading::onlyWithText : LockReading::always);
    resource->incomplete = !isWhole(parser);
    const QVariant writable =
        VDCommonUtils::getObjectFromDictionaryIgnoreCase(command->responseHeader(), kCheckWritable);
    if (writable.toString() == u"false")
        resource->permissionReadOnly = true;
    resource->serverRoot = serverRoot;
    resource->publicHostFromServer = session.publicHost;
    resource->relativePath = path;
    return resource;
}

QHash<QString, std::shared_ptr<WebDavResource>> WebDavResource::createWebDAVItemsOfFolder(
    VDWebDAVConnect &session, const QUrl &serverRoot, const QString &path) {
    QHash<QString, std::shared_ptr<WebDavResource>> resources;
    const Question question(session);
    const auto items = session.getItemsOfFolder(path, question.names, question.nameSpaces, nullptr);
    for (auto item = items.begin(); item != items.end(); ++item) {
        // Only a status: the server tells nothing of it here, and would seem to tell of an empty
        // file.
        if (!item.value()->findFirstName(QStringLiteral("propstat")))
            continue;
        const auto resource = parsePropertyXML(*item.value(), LockReading::always);
        resource->serverRoot = serverRoot;
        resource->publicHostFromServer = session.publicHost;
        resource->relativePath = (path == u"/" ? QString() : path) + u'/' +
                                 item.key().normalized(QString::NormalizationForm_C);
        resources.insert(item.key(), resource);
    }
    return resources;
}

std::shared_ptr<WebDavResource> WebDavResource::createNewFileIsDirectory(bool isDirectory) {
    const auto resource = std::make_shared<WebDavResource>();
    resource->contentType = isDirectory ? 0 : 1;
    resource->fileCreationDate = QDateTime::currentDateTimeUtc();
    resource->fileLastModified = resource->fileCreationDate;
    return resource;
}

std::shared_ptr<WebDavResource> WebDavResource::createFromLocalFile(const QString &path) {
    const QFileInfo file(path);
    if (!file.exists())
        return nullptr;
    const auto resource = std::make_shared<WebDavResource>();
    resource->fileCreationDate = file.birthTime().toUTC();
    updateFromLocalFile(path, resource, false);
    return resource;
}

void WebDavResource::updateFromLocalFile(const QString &path,
                                         const std::shared_ptr<WebDavResource> &resource,
                                         bool isCalcMD5) {
    const QFileInfo file(path);
    if (!resource || !file.exists())
        return;
    resource->contentType = file.isDir() ? 0 : 1;
    resource->fileLastModified = file.lastModified().toUTC();
    if (file.isDir())
        return;
    resource->fileSize = file.size();
    if (isCalcMD5)
        resource->md5 = VDCommonUtils::getMD5FromLocalFile(path);
}

QString WebDavResource::fullPath() const {
    if (relativePath.isEmpty())
        return QStringLiteral("");
    const QUrl url = VDCommonUtils::urlAppendPath(serverRoot, relativePath);
    return QString::fromLatin1(url.toEncoded());
}

QString WebDavResource::fileName() const {
    return VDCommonUtils::lastPathComponent(fullPath());
}

QString WebDavResource::publicHost() const {
    return {};
}

std::shared_ptr<AttributeMap> WebDavResource::fileInfomation() const {
    const auto attributes = extendAttrs ? extendAttrs : std::make_shared<AttributeMap>();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime created = fileCreationDate.isValid() ? fileCreationDate : now;
    const QDateTime modified = fileLastModified.isValid() ? fileLastModified : now;
    attributes->insert(NSFileCreationDate, created);
    attributes->insert(kGMUserFileSystemFileBackupDateKey, created);
    attributes->insert(NSFileModificationDate, modified);
    attributes->insert(kGMUserFileSystemFileAccessDateKey, modified);
    if (fileChangeDate.isValid())
        attributes->insert(kGMUserFileSystemFileChangeDateKey, fileChangeDate);
    if (contentType == 0) {
        attributes->insert(NSFileType, NSFileTypeDirectory);
        return attributes;
    }
    attributes->insert(NSFileType, NSFileTypeRegular);
    attributes->insert(NSFileSize, QString::number(fileSize));
    return attributes;
}

QString WebDavResource::getColumnValue() const {
    // An address or digest that was told, but is empty: a real one gives no letter.
    const auto isToldEmpty = [](const QString &text) { return !text.isNull() && text.isEmpty(); };
    QString letters = QStringLiteral("");
    if (lockType == kReadOnlyMark)
        letters += u'R';
    if (lockType == kLocked)
        letters += u'L';
    if (isToldEmpty(webPublicAddress))
        letters += u'P';
    if (isToldEmpty(encryptsha))
        letters += u'E';
    if (isSuspend)
        letters += u'S';
    return letters;
}

void WebDavResource::fileWebPublicCancel(VDWebDAVConnect &session) {
    std::optional<Error> failure;
    const auto parameter = session.getWebPublicParameter(relativePath, &failure);
    if (failure || !parameter || parameter->publicAddress.isEmpty())
        return;
    session.fileCancelWebPublic(relativePath, parameter->publicAddress, &failure);
    webPublicAddress = QStringLiteral("");
}

QString WebDavResource::fileDeliverryOperate(VDWebDAVConnect &, const WebPublicParameter &, bool) {
    return QStringLiteral("");
}

void WebDavResource::fileLockOperate(VDWebDAVConnect &session, bool lockFlg) {
    const bool isMarked = lockType == kReadOnlyMark || lockType == kLocked;
    if (lockFlg ? isMarked : lockType != kLocked)
        return;
    std::optional<Error> dropped;
    if (lockFlg)
        session.fileLock(relativePath, &dropped);
    else
        session.fileUnlock(relativePath, &dropped);
    lockType = lockFlg ? kLocked : 0;
}

void WebDavResource::fileReadOnlyOperate(VDWebDAVConnect &session, bool readOnlyFlg) {
    const bool isMarked = lockType == kReadOnlyMark || lockType == kLocked;
    if (readOnlyFlg ? isMarked : lockType != kReadOnlyMark)
        return;
    std::optional<Error> failure;
    session.fileSetReadOnly(relativePath, readOnlyFlg, &failure);
    if (!failure)
        lockType = readOnlyFlg ? kReadOnlyMark : 0;
}
