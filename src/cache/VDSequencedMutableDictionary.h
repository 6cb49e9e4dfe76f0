#pragma once

#include <memory>
#include <optional>

#include "cache/NSCache.h"
#include "cache/VDEntry.h"

// A dictionary that remembers the order in which its entries were last written; reading leaves the
// order alone. Takes no lock of its own.
template <typename Value>
class VDSequencedMutableDictionary {
  public:
    using Entry = VDEntry<Value>;
    using EntryPtr = std::shared_ptr<Entry>;
    using ValuePtr = std::shared_ptr<Value>;

    VDSequencedMutableDictionary() {
        store.setDelegate([this](const EntryPtr &entry) { willEvictObject(*entry); });
    }
    explicit VDSequencedMutableDictionary(qint32 capacity) : VDSequencedMutableDictionary() {
        store.setCountLimit(capacity);
    }
    VDSequencedMutableDictionary(const VDSequencedMutableDictionary &) = delete;
    VDSequencedMutableDictionary &operator=(const VDSequencedMutableDictionary &) = delete;

    // A new key, or a known one with a new value, becomes the newest.
    void setObject(ValuePtr value, qint32 key) {
        ++modCount;
        EntryPtr entry = objectForKey(key);
        if (entry) {
            removeEntry(*entry);
            entry->value = std::move(value);
        } else {
            entry = std::make_shared<Entry>(key, std::move(value));
            store.setObject(entry, key);
        }
        insertEntry(*entry);
    }

    void removeObjectForKey(qint32 key) {
        const EntryPtr entry = objectForKey(key);
        if (!entry)
            return;
        store.removeObjectForKey(key);
        ++modCount;
        removeEntry(*entry);
    }

    void removeAllObjects() {
        ++modCount;
        store.removeAllObjects();
        sentinel.next = sentinel.prev = &sentinel;
    }

    EntryPtr objectForKey(qint32 key) {
        const EntryPtr *entry = store.objectForKey(key);
        return entry ? *entry : nullptr;
    }
    ValuePtr valueForKey(qint32 key) {
        const EntryPtr *entry = store.objectForKey(key);
        return entry ? (*entry)->value : nullptr;
    }
    bool containsForKey(qint32 key) { return store.objectForKey(key) != nullptr; }

    bool isEnpty() const { return sentinel.next == &sentinel; }

    // The entry written longest ago and the one written last; nothing when empty.
    const Entry *first() const { return isEnpty() ? nullptr : sentinel.next; }
    std::optional<qint32> firstKey() const { return sentinel.next->key; }
    ValuePtr firstValue() const { return sentinel.next->value; }
    const Entry *last() const { return isEnpty() ? nullptr : sentinel.prev; }
    std::optional<qint32> lastKey() const { return sentinel.prev->key; }
    ValuePtr lastValue() const { return sentinel.prev->value; }

    // Counts changes: every write, every removal of a key that was there.
    quint64 modCount = 0;

  protected:
    NSCache<qint32, EntryPtr> store;

  private:
    void insertEntry(Entry &entry) {
        entry.next = &sentinel;
        entry.prev = sentinel.prev;
        sentinel.prev->next = &entry;
        sentinel.prev = &entry;
    }
    void removeEntry(Entry &entry) {
        entry.prev->next = entry.next;
        entry.next->prev = entry.prev;
    }
    // The list must not outlive what the store holds.
    void willEvictObject(Entry &entry) { removeEntry(entry); }

    Entry sentinel;  // heads the ring: next is the oldest, prev the newest
};
