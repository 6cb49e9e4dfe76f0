#pragma once

#include <memory>

#include <QString>
#include <QVariantMap>

// Attributes of an item as the delegate reports them to the host. Dates are QDateTime, sizes
// decimal strings or numbers, the POSIX mode a number.
using AttributeMap = QVariantMap;

inline const QString NSFileType = QStringLiteral("NSFileType");
inline const QString NSFileTypeRegular = QStringLiteral("NSFileTypeRegular");
inline const QString NSFileTypeDirectory = QStringLiteral("NSFileTypeDirectory");
inline const QString NSFileSize = QStringLiteral("NSFileSize");
inline const QString NSFileCreationDate = QStringLiteral("NSFileCreationDate");
inline const QString NSFileModificationDate = QStringLiteral("NSFileModificationDate");
inline const QString NSFilePosixPermissions = QStringLiteral("NSFilePosixPermissions");
// Bytes of a volume whose server tells no size. File managers refuse to copy to a volume without
// free space, so the kernel is told of a big one.
inline constexpr quint64 kUnknownVolumeSize = quint64(1) << 50;
inline const QString NSFileSystemSize = QStringLiteral("NSFileSystemSize");
inline const QString NSFileSystemFreeSize = QStringLiteral("NSFileSystemFreeSize");
inline const QString kGMUserFileSystemFileBackupDateKey =
    QStringLiteral("kGMUserFileSystemFileBackupDateKey");
inline const QString kGMUserFileSystemFileAccessDateKey =
    QStringLiteral("kGMUserFileSystemFileAccessDateKey");
inline const QString kGMUserFileSystemFileChangeDateKey =
    QStringLiteral("kGMUserFileSystemFileChangeDateKey");
