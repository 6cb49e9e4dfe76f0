// Locks of items that are moved, removed or forgotten, alone or with all that is in them.

#include "lock/VDLockController.h"
#include "webdav/LockDiscovery.h"
#include "webdav/VDWebDAVConnect.h"

QStringList VDLockController::heldAtOrBelow(const QString &path) const {
    const QString top = keyOf(path);
    const QString below = top + QLatin1Char('/');
    QStringList held;
    for (auto it = lockCountMap.cbegin(); it != lockCountMap.cend(); ++it) {
        if (it.key() == top || it.key().startsWith(below))
            held.append(it.key());
    }
    return held;
}

QList<std::shared_ptr<LockDiscovery>> VDLockController::locksAtOrBelow(const QString &path) {
    const std::lock_guard monitor(syncObj);
    releaseLeft();
    QList<LockPtr> locks;
    for (const QString &key : heldAtOrBelow(path)) {
        const LockPtr lock = lockDic.value(key);
        if (countOf(key) != 0 && lock && lock->isLock)
            locks.append(lock);
    }
    return locks;
}

void VDLockController::renameFrom(const QString &from, const QString &to) {
    const std::lock_guard monitor(syncObj);
    const qsizetype depth = keyOf(from).count(QLatin1Char('/'));
    for (const QString &key : heldAtOrBelow(from)) {
        // What is below, as its first holder spelled it.
        const QString below = requestPaths.value(key).section(QLatin1Char('/'), depth + 1, -1,
                                                              QString::SectionIncludeLeadingSep);
        moveTo(key, to + below);
    }
}

void VDLockController::moveTo(const QString &key, const QString &newPath) {
    const LockPtr lock = lockDic.value(key);
    const unsigned count = countOf(key);
    const bool uploading = isUploading(key);
    // Some servers leave the lock on the name that the item had, and list that as if it were there.
    std::optional<Error> failure;
    if (!con->isVelmora() && lock)
        releaseOnServer(key, &failure);
    keepLeft(key, failure);
    forget(key);
    if (count == 0)
        return;

    const QString newKey = keyOf(newPath);
    const LockPtr ofTarget = usable(lockDic.value(newKey));
    if (ofTarget && countOf(newKey) != 0) {
        // A lock on the replaced item holds for what took its place.
        lockCountMap[newKey] += count;
        return;
    }
    LockPtr taken;
    if (!takeOnServer(newPath, presentable(lock), &taken, nullptr) || !taken) {
        forget(newKey);
        return;
    }
    lockDic[newKey] = taken;
    lockCountMap[newKey] = count;
    requestPaths[newKey] = newPath;
    nextLockTimeDic[newKey] = timing.now() + kRenewalPeriod;
    if (uploading)
        uploadStart(newKey);
}

bool VDLockController::retake(const QString &path) {
    const std::lock_guard monitor(syncObj);
    const QString key = keyOf(path);
    if (countOf(key) == 0)
        return false;
    LockPtr taken;
    if (!takeOnServer(requestPaths.value(key), presentable(lockDic.value(key)), &taken, nullptr) ||
        !taken)
        return false;
    lockDic[key] = taken;
    nextLockTimeDic[key] = timing.now() + kRenewalPeriod;
    return true;
}

VDLockController::LockPtr VDLockController::presentable(const LockPtr &lock) const {
    return con->isVelmora() ? lock : nullptr;
}

void VDLockController::releaseAtOrBelow(const QString &path) {
    const std::lock_guard monitor(syncObj);
    for (const QString &key : heldAtOrBelow(path)) {
        std::optional<Error> failure;
        if (lockDic.value(key))
            releaseOnServer(key, &failure);
        keepLeft(key, failure);
        forget(key);
    }
}

void VDLockController::forgetAtOrBelow(const QString &path) {
    const std::lock_guard monitor(syncObj);
    for (const QString &key : heldAtOrBelow(path))
        forget(key);
}
