#pragma once

#include <memory>

#include <QByteArray>
#include <QString>

#include "common/Error.h"

// One entry of the kernel's mount table that serves this program's file-system type.
class KernelMount {
  public:
    // The type findmnt and mount(8) show.
    static const QByteArray kType;

    // Mounts a new connection to the kernel at a folder, for the calling user alone. A missing last
    // folder is made, and a dead mount of this user's that a crash left there is cleared. On
    // failure null, and an error of kPosixDomain whose "OUTPUT" tells the user what was wrong.
    static std::unique_ptr<KernelMount> mountAtPath(const QString &path, const QString &fsname,
                                                    ErrorOut error);
    // Closes the connection if it was not taken; does not unmount.
    ~KernelMount();
    KernelMount(const KernelMount &) = delete;
    KernelMount &operator=(const KernelMount &) = delete;

    // The descriptor of /dev/fuse, from now on the caller's to close.
    int takeConnection();
    // Whether the mount table still holds the mount.
    bool isAttached() const;
    // Takes the mount out of the mount table; lazily, also while programs use it. Does not wait for
    // the thread that serves the connection. 0 or an errno.
    int detach(bool lazily) const;
    // Removes the folder if mountAtPath made it.
    void removeMadeFolder();

  private:
    KernelMount() = default;

    QByteArray folder;
    bool folderWasMade = false;
    // Major and minor number, which tell this mount from a later one at the same folder.
    QByteArray device;
    int connection = -1;
};
