#pragma once

#include <cstdint>
#include <memory>

#include <QDateTime>

#include "cache/WebDavResourceCache.h"
#include "platform/fuse/GMUserFileSystemDelegate.h"

// The record of an open handle, handed to the host and given back with every later call.
struct UserData : HandleData {
    // Bits of opentype.
    static constexpr int32_t kWriteIntent = 2;
    static constexpr int32_t kCreated = 4;

    bool lockcounting = false;  // this handle holds one count of the server lock
    // 0 closed or unknown mode, 1 read, 2 write, 3 read and write, 7 created
    int32_t opentype = 0;
    // The entry of the path; used when the metadata cache no longer holds it, and what keeps the
    // entry alive there.
    std::shared_ptr<WebDavResourceCache> webDavResouceCache;
    uint64_t orgFileSize = 0;       // bytes at open, 0 for a created file
    QDateTime orginalModifiedDate;  // at open with write intent, else invalid
    QString orgEtag;                // the same; null where the server tells none
};
