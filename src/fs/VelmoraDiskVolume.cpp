// How full the volume is, and which paths may be written.

#include <algorithm>

#include "cache/FileSystemInfoCache.h"
#include "cache/MetaDataCache.h"
#include "common/VDCommonUtils.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "http/ASHttpConnectInfo.h"
#include "model/WebDavResource.h"
#include "webdav/ASWDCmd.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

const QString kCheckWritable = QStringLiteral("X-KQ-CHECK-WRITABLE");
const QString kRoot = QStringLiteral("/");

// "used/all" in bytes; anything without a "/" tells nothing.
void readQuota(const QString &text, FileSystemInfo &info) {
    const QStringList pieces = text.split(QLatin1Char('/'));
    info.getable = pieces.size() >= 2;
    if (!info.getable)
        return;
    info.allSize = std::max(pieces[1].toLongLong(), 0LL);
    info.usedSize = std::clamp(pieces[0].toLongLong(), 0LL, info.allSize);
}

}  // namespace

AttributeMap VelmoraDisk::attributesOfFileSystemForPath(const QString &path, ErrorOut error) {
    const QString quotaFolder = quotaPath(path);
    std::shared_ptr<FileSystemInfo> info = sysInfoCache->getInfo(quotaFolder);
    if (!info) {
        const Ticket ticket(*accessCol, path);
        info = std::make_shared<FileSystemInfo>();
        std::optional<Error> failure;
        const QString text = DAVConnection->getQuotaString(quotaFolder, &failure);
        if (!text.isEmpty())
            readQuota(text, *info);
        if (text.isEmpty() && failure) {
            VDCommonUtils::outputLog(failure);
            if (failure->isPosix())
                setError(error, *failure);
        }
        sysInfoCache->setInfo(quotaFolder, info);
    }
    if (!info->getable)
        return {};
    return {{NSFileSystemSize, info->allSize},
            {NSFileSystemFreeSize, info->allSize - info->usedSize}};
}

QString VelmoraDisk::quotaPath(const QString &path) {
    if (path != kRoot)
        return path;
    if (topFolderType.isNull()) {
        EntryPtr entry = metaDataCache->getMetaData(kRoot);
        if (!entry || !entry->webDavResource())
            entry = entryFromServer(kRoot);
        topFolderType = entry->webDavResource()->folderType;
    }
    return quotaPathOfRoot();
}

QString VelmoraDisk::quotaPathOfRoot() {
    if (topFolderType == QLatin1String("root")) {
        const QString folder = VDCommonUtils::getParentName(lastAccessFilepath);
        if (folder.size() >= 2)
            return VDCommonUtils::partPath(folder, 2);
        return kRoot +
               (DAVConnection->primary.isEmpty() ? DAVConnection->user : DAVConnection->primary);
    }
    if (topFolderType == QLatin1String("primary")) {
        if (lastAccessFilepath.size() >= 2)
            return VDCommonUtils::partPath(
                VDCommonUtils::partPath(VDCommonUtils::getParentName(lastAccessFilepath), 1), 1);
        return kRoot + DAVConnection->user;
    }
    return kRoot;
}

bool VelmoraDisk::isCannotWrite(const QString &path) {
    const EntryPtr entry = metaDataCache->getMetaData(path);
    if (const auto resource = entry ? entry->webDavResource() : nullptr)
        return resource->folderType == QLatin1String("share");

    const QString parentPath = VDCommonUtils::getParentName(path);
    const EntryPtr parent = metaDataCache->getMetaData(parentPath);
    if (const auto resource = parent ? parent->webDavResource() : nullptr)
        return VDCommonUtils::isSpecialFolder(resource->folderType) || resource->permissionReadOnly;

    std::optional<Error> failure;
    bool refused = isRefusedByServer(path, &failure);
    if (failure && failure->code == 6) {
        failure.reset();
        refused = isRefusedByServer(parentPath, &failure);
    }
    return failure || refused;
}

bool VelmoraDisk::isRefusedByServer(const QString &path, ErrorOut error) {
    const CommandPtr command = DAVConnection->getItemProperty(
        path, {}, {}, HeaderFields{{kCheckWritable, QStringLiteral("")}}, error);
    if (!command)
        return false;
    return VDCommonUtils::getObjectFromDictionaryIgnoreCase(command->responseHeader(),
                                                            kCheckWritable)
               .toString() == QLatin1String("false");
}

std::optional<QByteArray> VelmoraDisk::valueOfExtendedAttribute(const QString &name,
                                                                const QString &, qint64,
                                                                ErrorOut error) {
    if (name != QLatin1String("com.apple.quarantine"))
        setError(error, Error::errorWithPOSIXCode(ENOTSUP));
    return std::nullopt;
}
