// Opening a handle.

#include <fcntl.h>

#include "cache/MetaDataCache.h"
#include "common/VDCommonUtils.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "model/WebDavResource.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// The longest name, in bytes, that can be opened: longer ones leave no room for temporary names.
constexpr int kNameLimit = 247;

bool isNameTooLong(const QString &path) {
    return VDCommonUtils::lastPathComponent(path).toUtf8().size() > kNameLimit;
}

constexpr int32_t kOpenTypeOfMode[] = {1, 2, 3, 0};  // by the low two bits of the mode

}  // namespace

bool VelmoraDisk::openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                                 ErrorOut error) {
    const auto fail = [error](int posix) {
        setError(error, Error::errorWithPOSIXCode(posix));
        return false;
    };
    lastAccessFilepath = path;
    if (isNameTooLong(path))
        return fail(ENAMETOOLONG);

    const int32_t opentype = kOpenTypeOfMode[mode & O_ACCMODE];
    if (opentype & UserData::kWriteIntent)
        return fail(EROFS);

    const Ticket ticket(*accessCol, path);
    EntryPtr entry = metaDataCache->getMetaData(path);
    if (!entry)
        entry = entryFromServer(path);
    if (entry->server_forbidden)
        return fail(EACCES);
    if (!(entry->place & 1) && !entry->streamActive) {
        metaDataCache->removeMetaData(path);
        return fail(entry->failure != 0 ? entry->failure : ENOENT);
    }

    const auto handle = std::make_shared<UserData>();
    handle->opentype = opentype;
    if (const auto resource = entry->webDavResource())
        handle->orgFileSize = static_cast<uint64_t>(resource->fileSize);
    handle->webDavResouceCache = entry;
    keepEntry(path, entry);
    *userData = handle;
    return true;
}

VelmoraDisk::EntryPtr VelmoraDisk::entryFromServer(const QString &path) {
    const auto entry = std::make_shared<WebDavResourceCache>();
    const auto resource = resourceFromServer(path);
    entry->setWebDavResource(resource);
    if (resource->error && resource->error->code == 7)
        entry->server_forbidden = true;
    entry->place = resource->error ? 0 : 1;
    entry->failure = resource->error ? failureOf(*resource->error) : 0;
    metaDataCache->insertMetaData(path, entry);
    return entry;
}

VelmoraDisk::EntryPtr VelmoraDisk::entryForHandle(const QString &path,
                                                  const UserData &handle) const {
    const EntryPtr entry = metaDataCache->getMetaData(path);
    return entry ? entry : handle.webDavResouceCache;
}
