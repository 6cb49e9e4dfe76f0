// Sizes and dates. A size changes the local copy alone and leaves for the server with the next
// upload; dates go to the server at once unless an upload will carry them anyway.

#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include "cache/MetaDataCache.h"
#include "cache/UnsentFiles.h"
#include "cache/VirtualStoreControler.h"
#include "common/LocalFileDates.h"
#include "common/VDCommonUtils.h"
#include "fs/LocalCopy.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"
#include "webdav/Namespaces.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

const QMap<int, int> kCodes = {
    {0, ENETUNREACH}, {3, EBUSY}, {5, EBUSY}, {7, EACCES}, {9, EACCES}, {11, EHOSTDOWN},
};

QDateTime dateOf(const AttributeMap &attributes, const QString &key) {
    return attributes.value(key).toDateTime();
}

HeaderFields dateFields(const AttributeMap &attributes) {
    const std::pair<QString, QString> fields[] = {
        {QStringLiteral("X-KQ-CreationDate"), NSFileCreationDate},
        {QStringLiteral("X-KQ-LastModified"), NSFileModificationDate},
    };
    HeaderFields headers;
    for (const auto &[name, key] : fields) {
        if (const QDateTime date = dateOf(attributes, key); date.isValid())
            headers[name] = VDCommonUtils::lastmodifiedDateStringFromDate(date);
    }
    return headers;
}

// The owner's rights stay: the copy must be readable to be sent, and its folder open.
void applyMode(const QString &localPath, mode_t mode) {
    const bool isUnsent = UnsentFiles::isMarked(localPath);
    const mode_t rights = QFileInfo(localPath).isDir() ? S_IRWXU : S_IRUSR | S_IWUSR;
    ::chmod(localPath.toUtf8().constData(), (mode & 0777) | rights);
    if (isUnsent)
        UnsentFiles::mark(localPath);
}

void applyToLocalItem(const QString &localPath, const AttributeMap &attributes) {
    if (!QFileInfo::exists(localPath))
        return;
    const auto mode = attributes.constFind(NSFilePosixPermissions);
    if (mode != attributes.constEnd())
        applyMode(localPath, mode->toUInt());
    LocalFileDates{dateOf(attributes, NSFileCreationDate),
                   dateOf(attributes, NSFileModificationDate)}
        .applyTo(localPath);
}

void applyToRecord(WebDavResource &resource, const AttributeMap &attributes) {
    const std::pair<QString, QDateTime WebDavResource::*> dates[] = {
        {NSFileCreationDate, &WebDavResource::fileCreationDate},
        {NSFileModificationDate, &WebDavResource::fileLastModified},
        {kGMUserFileSystemFileChangeDateKey, &WebDavResource::fileChangeDate},
    };
    for (const auto &[key, field] : dates) {
        if (const QDateTime date = dateOf(attributes, key); date.isValid())
            resource.*field = date;
    }
    if (!resource.extendAttrs)
        resource.extendAttrs = std::make_shared<AttributeMap>();
    resource.extendAttrs->insert(attributes);
}

}  // namespace

bool VelmoraDisk::setAttributes(const AttributeMap &attributes, const QString &ofItemAtPath,
                                const HandlePtr &userData, ErrorOut error) {
    const QString &path = ofItemAtPath;
    const Ticket ticket(*accessCol, path);
    const auto handle = std::static_pointer_cast<UserData>(userData);
    const auto size = attributes.constFind(NSFileSize);
    if (size != attributes.constEnd() && handle) {
        bool result = true;
        if (!truncate(path, *handle, size->toLongLong(), &result, error))
            return result;
    }
    const EntryPtr own = handle ? handle->webDavResouceCache : nullptr;
    const bool isDetached = own && own->detached;
    if (!isDetached)
        applyToLocalItem(virtualStoreCtl->getVirtualPath(path), attributes);

    const HeaderFields headers = dateFields(attributes);
    if (const EntryPtr entry = isDetached ? own : metaDataCache->getMetaData(path)) {
        const std::lock_guard lock(entry->syncObj);
        if (const auto resource = entry->webDavResource())
            applyToRecord(*resource, attributes);
        const auto running = entry->uploadThread();
        if (running && !headers.isEmpty())
            running->setSettingAttributes(headers);
        if (isDetached || running || entry->streamActive || lockCtr->isLock(path))
            return true;
    }
    return headers.isEmpty() || sendDates(path, headers, error);
}

// Whether the file has the size now; else the result of the whole is in place.
bool VelmoraDisk::truncate(const QString &path, UserData &handle, qint64 size, bool *result,
                           ErrorOut error) {
    const EntryPtr entry = handle.webDavResouceCache;
    const std::lock_guard lock(entry->syncObj);
    const auto fail = [&](int posix, bool ofWhole) {
        setError(error, Error::errorWithPOSIXCode(posix));
        *result = ofWhole;
        return false;
    };
    if (!(handle.opentype & UserData::kWriteIntent))
        return fail(EACCES, false);
    const QString localPath = virtualStoreCtl->getVirtualPath(path);
    int node = entry->file_node;
    const bool isOpenedHere = node < 0;
    if (isOpenedHere && entry->detached)
        return fail(EIO, false);
    if (isOpenedHere) {
        // A local copy that can't be opened or filled gives an error along with a true result, and
        // the host goes by the error.
        if (const int code = LocalCopy::make(localPath))
            return fail(code, true);
        node = LocalCopy::openForWriting(localPath);
        if (node < 0)
            return fail(errno, true);
        // Of a file that is emptied nothing is needed.
        const bool needsContent = size > 0 && (entry->place & WebDavResourceCache::kOnServer);
        const int code = needsContent ? fillFromServer(path, entry, node) : 0;
        if (code != 0) {
            ::close(node);
            return fail(code, true);
        }
    }
    entry->localVersion.clear();
    const int code = ::ftruncate(node, size) < 0 ? errno : 0;
    // It doesn't count as a change of the content: who wants that writes something.
    if (isOpenedHere)
        ::close(node);
    if (code != 0)
        return fail(code, false);
    if (const auto resource = entry->webDavResource())
        resource->fileSize = size;
    return true;
}

bool VelmoraDisk::sendDates(const QString &path, const QMap<QString, QString> &headers,
                            ErrorOut error) {
    std::optional<Error> failure;
    DAVConnection->putProperties(path, {}, VelmoraNamespaceURI, headers, &failure);
    if (!failure)
        return true;
    if (!failure->isPosix())
        return mapFailure(failure, kCodes, ENOENT, error);
    VDCommonUtils::outputLog(failure);
    return false;
}
