#include "cache/AccessControler.h"

#include "cache/CachePaths.h"

AccessControler::AccessControler(double limit) : limitTime(limit) {}

void AccessControler::getLock(const QString &path, const void *token) {
    const QString key = cacheKey(path);
    std::unique_lock lock(mutex);
    lockMap[key].append(token);
    for (;;) {
        QList<const void *> &queue = lockMap[key];
        const Time now = std::chrono::steady_clock::now();
        const auto limit = forceLimit.constFind(key);
        if (limit != forceLimit.constEnd() && *limit < now) {
            forceLimit.erase(limit);
            if (!queue.isEmpty())
                queue.removeFirst();
        }
        if (queue.isEmpty())
            queue.append(token);
        if (queue.first() == token) {
            forceLimit.insert(key, now + std::chrono::duration_cast<Time::duration>(limitTime));
            // Those in line need to know the new holder's limit.
            changed.notify_all();
            return;
        }
        const auto holderLimit = forceLimit.constFind(key);
        if (holderLimit == forceLimit.constEnd())
            changed.wait(lock);
        else
            changed.wait_until(lock, *holderLimit + std::chrono::microseconds(1));
    }
}

void AccessControler::unLock(const QString &path, const void *token) {
    const QString key = cacheKey(path);
    const std::lock_guard lock(mutex);
    const auto queue = lockMap.find(key);
    if (queue == lockMap.end() || queue->isEmpty() || queue->first() != token)
        return;
    queue->removeFirst();
    if (queue->isEmpty())
        lockMap.erase(queue);
    forceLimit.remove(key);
    changed.notify_all();
}

bool AccessControler::exsitLock(const QString &path) const {
    const std::lock_guard lock(mutex);
    const auto limit = forceLimit.constFind(cacheKey(path));
    return limit != forceLimit.constEnd() && *limit >= std::chrono::steady_clock::now();
}
