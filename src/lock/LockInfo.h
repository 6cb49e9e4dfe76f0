#pragma once

#include <memory>

#include <QDateTime>
#include <QString>

struct LockDiscovery;

// A local holder of a lock, with the number of its holds. Nothing uses it: the lock table keeps its
// state in dictionaries.
struct LockInfo {
    QString path;
    QDateTime ModifiedDate;
    int count = 0;
    bool serverLock = false;           // this client holds the server's lock
    bool lockedAnotherServer = false;  // somebody else holds it on the server
    std::shared_ptr<LockDiscovery> lockDiscovery;
    quint32 processID = 0;
    int lockScope = 0;

    LockInfo(const QString &path, int lockScope, quint32 processID);
    // True clears lockedAnotherServer, false drops the lock's record.
    void setServerLock(bool flag);
    // True clears serverLock and the process.
    void setLockedAnotherServer(bool flag);
    void add();
    // Stays at 0.
    void reduce();
    // Takes over the other's holds and adds its flags; both flags may end up set.
    void marge(LockInfo &other);
};
