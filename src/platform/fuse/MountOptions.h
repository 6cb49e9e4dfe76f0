#pragma once

#include <QString>
#include <QStringList>

// The mount options that have a counterpart here. Timeouts in seconds.
struct MountOptions {
    double entryTimeout = 1.0;
    double negativeTimeout = 0.0;
    double attrTimeout = 1.0;
    // How old attributes may be when an open decides whether cached pages are still good.
    double acAttrTimeout = 1.0;
    // What df and findmnt show as the source of the volume.
    QString fsname = QStringLiteral("velmoradisk");

    // Options without a counterpart are set aside; those never heard of, and values that are no
    // number, are logged.
    static MountOptions fromList(const QStringList &options);
};
