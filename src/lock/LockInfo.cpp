#include "lock/LockInfo.h"

#include <utility>

LockInfo::LockInfo(const QString &path, int lockScope, quint32 processID)
    : path(path), processID(processID), lockScope(lockScope) {}

void LockInfo::setServerLock(bool flag) {
    serverLock = flag;
    if (flag)
        lockedAnotherServer = false;
    else
        lockDiscovery.reset();
}

void LockInfo::setLockedAnotherServer(bool flag) {
    lockedAnotherServer = flag;
    if (!flag)
        return;
    serverLock = false;
    processID = 0;
}

void LockInfo::add() {
    ++count;
}

void LockInfo::reduce() {
    if (count > 0)
        --count;
}

void LockInfo::marge(LockInfo &other) {
    count += std::exchange(other.count, 0);
    serverLock |= other.serverLock;
    lockedAnotherServer |= other.lockedAnotherServer;
}
