// Releasing a handle.

#include <unistd.h>

#include "cache/MetaDataCache.h"
#include "fs/Ticket.h"
#include "fs/VelmoraDisk.h"
#include "lock/VDLockController.h"
#include "model/WebDavResource.h"

void VelmoraDisk::releaseFileAtPath(const QString &path, const HandlePtr &userData) {
    const Ticket ticket(*accessCol, path);
    if (!userData)
        return;
    const auto handle = std::static_pointer_cast<UserData>(userData);
    const EntryPtr entry = entryForHandle(path, *handle);
    const std::lock_guard lock(entry->syncObj);
    if (handle->lockcounting) {
        lockCtr->unlock(path, nullptr);
        const auto resource = entry->webDavResource();
        if (resource && !lockCtr->isLock(path))
            resource->lockDiscovery.reset();
    }
    if (entry->streamActive && !lockCtr->isLock(path)) {
        if (entry->file_node >= 0)
            ::close(entry->file_node);
        entry->file_node = -1;
        entry->streamActive = false;
    }
    handle->opentype = 0;
    keepEntry(path, entry);
}
