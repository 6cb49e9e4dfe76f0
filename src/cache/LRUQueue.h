#pragma once

#include <functional>
#include <memory>

#include "cache/VDQueue.h"
#include "cache/VDSequencedMutableDictionary.h"

// Hands out the numbered slots of a pool of fixed size. A full pool gives the slot that was written
// longest ago to the next taker. Takes no lock of its own.
template <typename Value>
class LRUQueue : public VDSequencedMutableDictionary<Value> {
  public:
    using ValuePtr = std::shared_ptr<Value>;
    using PushOut = std::function<void(const ValuePtr &)>;

    explicit LRUQueue(qint32 size) : unusedQueue(size), maxsize(size) {
        this->store.setCountLimit(size);
    }

    // Gets each value that loses its slot to another one.
    void setDelegate_pushout(PushOut pushOut) { delegate_pushout = std::move(pushOut); }

    // Stores the value in a slot and answers its number. Slots never used come first, in ascending
    // order; freed ones wait until there are none left.
    qint32 addQueue(const ValuePtr &value) {
        const qint32 slot = nextSlot();
        this->setObject(value, slot);
        return slot;
    }

    // Tells the store of a use; the order of eviction is that of writing and stays.
    void hit(qint32 slot) { this->objectForKey(slot); }

    // Frees a slot.
    void removeQueue(qint32 slot) {
        unusedQueue.enqueue(slot);
        this->removeObjectForKey(slot);
    }

  private:
    qint32 nextSlot() {
        if (last < maxsize)
            return last++;
        if (const auto freed = unusedQueue.dequeue())
            return *freed;
        const auto oldest = this->firstKey();
        if (!oldest)
            return 0;
        if (delegate_pushout)
            delegate_pushout(this->firstValue());
        return *oldest;
    }

    VDQueue unusedQueue;
    const qint32 maxsize;
    qint32 last = 0;  // next slot never handed out
    PushOut delegate_pushout;
};
