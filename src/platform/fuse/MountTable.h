#pragma once

#include <optional>

#include <QByteArray>

// One line of the kernel's table of mounts.
struct MountEntry {
    QByteArray device;  // "major:minor"
    QByteArray mountPoint;
    QByteArray type;
    QByteArray options;  // those of the file system, comma separated

    bool hasOption(const QByteArray &option) const;
};

// Whether a mount of that device number is in the table, at whatever path.
bool isMounted(const QByteArray &device);

// The mount that a path of the table shows, which is the last one mounted there. Asks no file
// system, so it never waits for one that hangs.
std::optional<MountEntry> mountEntryAt(const QByteArray &mountPoint);
