#pragma once

#include <functional>
#include <list>

#include <QHash>

// A keyed store that keeps at most countLimit objects and drops the least recently used one to make
// room. Not safe from several threads.
template <typename Key, typename Object>
class NSCache {
  public:
    using WillEvictObject = std::function<void(const Object &)>;

    // 0 means no limit.
    void setCountLimit(qsizetype limit) {
        countLimit = limit;
        dropSurplus();
    }

    // Called with each object that the store drops on its own, while it is still stored.
    void setDelegate(WillEvictObject willEvictObject) { delegate = std::move(willEvictObject); }

    // The stored object, which this makes the most recently used; null if there is none. Valid
    // until the next change.
    const Object *objectForKey(const Key &key) {
        const auto found = items.find(key);
        if (found == items.end())
            return nullptr;
        byUse.splice(byUse.end(), byUse, found->place);
        return &found->object;
    }

    void setObject(Object object, const Key &key) {
        const auto found = items.find(key);
        if (found != items.end()) {
            found->object = std::move(object);
            byUse.splice(byUse.end(), byUse, found->place);
            return;
        }
        items.insert(key, {std::move(object), byUse.insert(byUse.end(), key)});
        dropSurplus();
    }

    void removeObjectForKey(const Key &key) {
        const auto found = items.find(key);
        if (found == items.end())
            return;
        byUse.erase(found->place);
        items.erase(found);
    }

    void removeAllObjects() {
        items.clear();
        byUse.clear();
    }

  private:
    struct Item {
        Object object;
        typename std::list<Key>::iterator place;
    };

    void dropSurplus() {
        while (countLimit > 0 && items.size() > countLimit) {
            const Key oldest = byUse.front();
            if (delegate)
                delegate(items.find(oldest)->object);
            removeObjectForKey(oldest);
        }
    }

    qsizetype countLimit = 0;
    WillEvictObject delegate;
    QHash<Key, Item> items;
    std::list<Key> byUse;  // front: used longest ago
};
