#pragma once

#include <deque>
#include <mutex>
#include <optional>

#include <QtGlobal>

// A bounded first-in-first-out queue of numbers. A full queue loses its oldest element to the
// newest. Safe from any thread.
class VDQueue {
  public:
    explicit VDQueue(qint32 size) : maxSize(size) {}

    // The head; nothing when empty.
    std::optional<qint32> peek() const;
    std::optional<qint32> dequeue();
    // Nothing is ignored.
    void enqueue(std::optional<qint32> object);
    qint32 count() const;

  private:
    mutable std::mutex mutex;  // guards queue
    const qint32 maxSize;
    std::deque<qint32> queue;
};
