#pragma once

#include <QString>

// Whoever keeps the tables of mounts, as a volume sees it.
class MountOwner {
  public:
    virtual ~MountOwner() = default;
    // The mount of that name is gone, or never came to be. Called on the host's thread; must not
    // block on the main thread.
    virtual void umount(const QString &connectionName) = 0;
};
