#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QStringList>

#include "common/Error.h"
#include "platform/fuse/GMUserFileSystemDelegate.h"

// The kernel side of a volume: mounts it, turns kernel requests into delegate operations one at a
// time on a thread of its own, and brings it down without losing a handle.
class GMUserFileSystem {
  public:
    // The mount's fate, told on the host's thread to whoever subscribed.
    enum class Notification {
        kGMUserFileSystemDidMount,
        kGMUserFileSystemMountFailed,  // with the error
        kGMUserFileSystemDidUnmount,   // the loop has ended and every handle was released
    };
    using Observer = std::function<void(Notification, const GMUserFileSystem *sender,
                                        const std::optional<Error> &)>;

    // Process-wide subscription, as notifications reach every subscriber whoever sends them.
    // The returned number unsubscribes. Safe from any thread, also from inside an observer; a call
    // already under way on the host's thread is not waited for. An observer must not use the
    // volume itself: the thread it runs on is the one that would answer.
    static int subscribe(Observer observer);
    static void unsubscribe(int subscription);

    GMUserFileSystem(std::shared_ptr<GMUserFileSystemDelegate> delegate, bool isThreadSafe);
    // Unmounts by force and waits for the end, which may take as long as the uploads of open files.
    // On the host's own thread it doesn't wait.
    ~GMUserFileSystem();
    GMUserFileSystem(const GMUserFileSystem &) = delete;
    GMUserFileSystem &operator=(const GMUserFileSystem &) = delete;

    // Returns at once; the outcome comes as a notification. A mount point whose last folder is
    // missing is made, and removed again after the unmount. A host mounts once. Without
    // detachNewThread the caller's thread serves the volume and returns after its end.
    void mountAtPath(const QString &path, const QStringList &options, bool shouldForeground,
                     bool detachNewThread);

    enum class UnmountMode {
        kPlain,  // as umount(8): refused while a program uses the volume
        kForce,  // detaches the volume, then releases every open handle to the delegate
    };
    // Asks for the unmount; its end comes as kGMUserFileSystemDidUnmount. By force, reads
    // that go on for two more seconds are given up. False, with EBUSY for a plain unmount of a
    // volume in use, when the volume stays mounted. Asked before the volume answers, the mount ends
    // as failed with ECANCELED.
    bool unmount(UnmountMode mode = UnmountMode::kForce, ErrorOut error = nullptr);

    // Blocks until the host's thread has ended. Returns at once if it never ran, and on that
    // thread.
    void waitUntilEnded();
    bool isMounted() const;
    // Whether the mount has left the mount table, by whoever took it out, and the delegate still
    // works on what was asked before. Doesn't wait.
    bool isDetached() const;
    // Whether the delegate is this host's.
    bool serves(const GMUserFileSystemDelegate *delegate) const;

  private:
    class Impl;
    // The sender of a notification whose host an observer has dropped.
    explicit GMUserFileSystem(std::shared_ptr<Impl> impl);

    // Shared with the host's thread, so that an observer may drop the host on it.
    std::shared_ptr<Impl> impl;
};
