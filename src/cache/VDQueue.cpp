#include "cache/VDQueue.h"

std::optional<qint32> VDQueue::peek() const {
    const std::lock_guard lock(mutex);
    if (queue.empty())
        return std::nullopt;
    return queue.front();
}

std::optional<qint32> VDQueue::dequeue() {
    const std::lock_guard lock(mutex);
    if (queue.empty())
        return std::nullopt;
    const qint32 head = queue.front();
    queue.pop_front();
    return head;
}

void VDQueue::enqueue(std::optional<qint32> object) {
    if (!object)
        return;
    const std::lock_guard lock(mutex);
    if (!queue.empty() && static_cast<qint32>(queue.size()) >= maxSize)
        queue.pop_front();
    queue.push_back(*object);
}

qint32 VDQueue::count() const {
    const std::lock_guard lock(mutex);
    return static_cast<qint32>(queue.size());
}
