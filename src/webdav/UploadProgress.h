#pragma once

#include <QString>

// How far an upload is.
struct UploadProgress {
    QString path;      // on the volume
    qint64 sent = 0;   // bytes
    qint64 total = 0;  // bytes
};
