#pragma once

#include <QStringList>

// Volumes of this program and user whose process is gone, as a crash leaves them.
namespace DeadMounts {

// Their mount points, but for those that are known to be alive. A volume that doesn't tell within a
// second counts as alive.
QStringList find(const QStringList &alive = {});
// Detaches a dead volume; false where that failed.
bool clear(const QString &mountPoint);

}  // namespace DeadMounts
