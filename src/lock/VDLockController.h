#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <QMap>
#include <QSet>
#include <QString>

#include "common/Error.h"
#include "lock/LockJournal.h"

class RunLoop;
class VDWebDAVConnect;
struct LockDiscovery;

// When locks are renewed. A test puts a clock of its own here.
struct LockTiming {
    // Time since some start; it goes on while the computer sleeps, as the server's clock does.
    std::function<std::chrono::milliseconds()> now;
    std::chrono::milliseconds pauseBetweenPasses = std::chrono::seconds(5);

    static LockTiming ofThisComputer();
};

// The server locks that this client holds on one mount: how many open files count on each, its
// record, and when it is next renewed. A thread of its own renews them before the server's limit;
// where the server refuses, it drops the lock, tells the user, and isLock() answers false.
//
// Paths come in any canonical form: the tables have them decomposed, the requests for a lock as its
// first holder spelled them, since to a server the two are different items. Which opens may share a
// file is the server's decision, not this table's. One slow request blocks all operations but
// uploadStart() and uploadEnd().
class VDLockController {
  public:
    // With a folder of its own on disk, a lock that is still held when the process is killed is
    // released as soon as there is a table for that folder again.
    VDLockController(std::shared_ptr<VDWebDAVConnect> con, const QString &mountPoint,
                     const QString &connectName,
                     const LockTiming &timing = LockTiming::ofThisComputer(),
                     const QString &journalFolder = {});
    // Disposes, and serves this thread's events until every lock is released.
    ~VDLockController();
    VDLockController(const VDLockController &) = delete;
    VDLockController &operator=(const VDLockController &) = delete;

    // Counts one more holder; the first one takes the lock on the server, as a refresh where the
    // table or the caller knows an earlier record. The record that holds; its isLock is false on a
    // server without locks. Null with a POSIX error on failure.
    std::shared_ptr<LockDiscovery> lock(const QString &path,
                                        const std::shared_ptr<LockDiscovery> &lockDiscovery,
                                        ErrorOut error);
    // Counts one holder less; the last one releases the lock. False where the server might hold it
    // still: it then stays in the table and goes on being renewed. The error is never set.
    bool unlock(const QString &path, ErrorOut error);
    bool isLock(const QString &path) const;
    // Nobody or exactly one holder. A failed attempt that wasn't unlocked counts as neither.
    bool lockMeOnly(const QString &path) const;
    // Null where the path isn't locked.
    std::shared_ptr<LockDiscovery> getDiscovery(const QString &path) const;
    // The locks held at the path and below it, for a request that moves or removes all of that.
    // First releases what an earlier release left there, which would stand in the request's way.
    QList<std::shared_ptr<LockDiscovery>> locksAtOrBelow(const QString &path);
    // The item was moved on the server, with all that is in it. Locks don't move along, so each is
    // taken at its new place; the counts stay. One that isn't to be had there is dropped.
    void renameFrom(const QString &from, const QString &to);
    // Takes a held lock again that the server has forgotten; the count stays. False where somebody
    // else has it now, or on any other failure.
    bool retake(const QString &path);
    // Releases the locks at the path and below it, whatever their counts.
    void releaseAtOrBelow(const QString &path);
    // The same without a request: the items went, and their locks with them.
    void forgetAtOrBelow(const QString &path);
    // A path being uploaded isn't renewed.
    void uploadStart(const QString &path);
    void uploadEnd(const QString &path);
    // Ends the thread, which then releases all locks; doesn't wait for that.
    void dispose();

  private:
    using Time = std::chrono::milliseconds;
    using LockPtr = std::shared_ptr<LockDiscovery>;
    static constexpr std::chrono::seconds kRenewalPeriod{150};

    static QString keyOf(const QString &path);

    void fileLockThread();
    void renewDueLocks();
    // The refusal that a due lock was dropped for.
    std::optional<Error> renew(const QString &key);
    void releaseAll();
    bool isRunning() const;
    bool isUploading(const QString &key) const;
    unsigned countOf(const QString &key) const { return lockCountMap.value(key, 0); }
    // Null for a lock of somebody else, whose token a listing told; the vendor's server sorts that
    // out itself.
    LockPtr usable(const LockPtr &lock) const;
    bool takeOnServer(const QString &path, const LockPtr &previous, LockPtr *taken, ErrorOut error);
    void giveBack(const QString &path, const LockPtr &lock);
    void releaseOnServer(const QString &key, ErrorOut error);
    void forget(const QString &key);
    // After the answer to its release: where the server may hold the lock still, it is tried again
    // later. Until then nobody could write the file, this client least of all.
    void keepLeft(const QString &key, const std::optional<Error> &failure);
    void keepLeft(const HeldLock &lock);
    // Those that dead processes left on this server, that it failed to release, or that it may have
    // given without its answer coming through.
    void releaseLeft();
    // False where the server gave no answer.
    bool settleLeft(const HeldLock &lock);
    // Keys with a record at the path and below it.
    QStringList heldAtOrBelow(const QString &path) const;
    // What presents itself to a LOCK that may find the lock gone. Standard servers forget it, or,
    // as lighttpd, grant the refresh of one that doesn't exist: there it's always a new one.
    LockPtr presentable(const LockPtr &lock) const;
    void moveTo(const QString &key, const QString &newPath);

    const std::shared_ptr<VDWebDAVConnect> con;
    const QString mountPoint;
    const QString connectName;
    const LockTiming timing;

    // Guards the tables, and is held during requests to the server.
    mutable std::recursive_mutex syncObj;
    QMap<QString, std::shared_ptr<LockDiscovery>> lockDic;
    QMap<QString, Time> nextLockTimeDic;
    QMap<QString, unsigned> lockCountMap;  // 0: the last attempt failed
    QMap<QString, QString> requestPaths;   // as the first holder spelled them
    LockJournal journal;
    QList<HeldLock> leftLocks;  // not counted by anybody, not released yet; a token may be unknown

    // Guards the following; taken after syncObj, never held for long.
    mutable std::mutex threadState;
    std::condition_variable disposed;
    QSet<QString> nowUploadDic;
    bool loop = true;
    bool threadEnded = false;
    std::shared_ptr<RunLoop> waiter;  // of the thread that is destroying this

    std::thread thread;  // last: it uses all of the above
};
