#pragma once

#include <optional>

#include "common/Error.h"

// Why a file that was closed isn't on the server.
struct UploadFailure {
    bool quotaFull = false;      // nothing was sent
    std::optional<Error> error;  // of the upload

    // What the user is told; null for nothing.
    QString message(const QString &fullPath, const QString &path,
                    const QString &connectionName) const;
    // Whether a file that was empty before is deleted on the server.
    bool deletesEmptyOriginal() const;
    // Neither out of reach nor locked by somebody else: asking it again makes sense.
    bool isServersOwnWord() const;
};
