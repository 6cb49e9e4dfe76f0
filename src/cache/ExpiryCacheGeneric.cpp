#include "cache/ExpiryCacheGeneric.h"

#include <cmath>
#include <condition_variable>
#include <mutex>
#include <pthread.h>
#include <utility>

#include <QHash>

namespace {

struct Entry {
    ExpiryCacheGeneric::ValuePtr value;
    CacheTime valid;  // until then
};

constexpr double kTicksPerSecondOfValidity = 5.0;

}  // namespace

struct ExpiryCacheGeneric::State {
    const CacheTiming timing;
    const Exempt exempt;

    std::mutex syncObj;             // held during a sweep; taken before dicSyncObj
    mutable std::mutex dicSyncObj;  // guards all below
    std::condition_variable changed;
    QHash<QString, Entry> cache;
    double defaultValidTime;
    bool loop = true;

    State(double validTime, const CacheTiming &timing, Exempt exempt)
        : timing(timing), exempt(std::move(exempt)), defaultValidTime(validTime) {}

    CacheTime expiry(CacheTime from) const {
        return from + std::chrono::duration_cast<CacheTime::duration>(
                          std::chrono::duration<double>(defaultValidTime));
    }
    ValuePtr get(const QString &key);
    void sweep();
    void CleanThread(std::chrono::microseconds interval);
};

ExpiryCacheGeneric::ValuePtr ExpiryCacheGeneric::State::get(const QString &key) {
    const std::lock_guard lock(dicSyncObj);
    const auto entry = cache.find(key);
    if (entry == cache.end())
        return nullptr;
    if ((exempt && exempt(entry->value)) || timing.now() < entry->valid)
        return entry->value;
    // Only by letting go of it does it show whether anybody else holds it.
    const std::weak_ptr<void> weak = entry->value;
    entry->value.reset();
    entry->value = weak.lock();
    if (!entry->value) {
        cache.erase(entry);
        return nullptr;
    }
    entry->valid = expiry(timing.now());
    return entry->value;
}

void ExpiryCacheGeneric::State::sweep() {
    const std::lock_guard sweeping(syncObj);
    QList<QString> keys;
    {
        const std::lock_guard lock(dicSyncObj);
        keys = cache.keys();
    }
    for (const QString &key : std::as_const(keys))
        get(key);
}

// Sleeps for good while there is nothing to sweep.
void ExpiryCacheGeneric::State::CleanThread(std::chrono::microseconds interval) {
    std::unique_lock lock(dicSyncObj);
    while (loop) {
        changed.wait(lock, [this] { return !loop || !cache.isEmpty(); });
        if (changed.wait_for(lock, interval, [this] { return !loop; }))
            break;
        lock.unlock();
        sweep();
        lock.lock();
    }
    const QHash<QString, Entry> last = std::exchange(cache, {});
    lock.unlock();
}

ExpiryCacheGeneric::ExpiryCacheGeneric(double defaultValidTime, const CacheTiming &timing,
                                       Exempt exempt)
    : state(std::make_shared<State>(defaultValidTime, timing, std::move(exempt))) {
    const auto ticks = std::floor(kTicksPerSecondOfValidity * defaultValidTime) + 1;
    const auto interval = timing.tick * static_cast<qint64>(ticks);
    thread = std::thread([state = state, interval] { state->CleanThread(interval); });
    pthread_setname_np(thread.native_handle(), "ExpiryCacheGene");  // 15 characters at most
}

ExpiryCacheGeneric::~ExpiryCacheGeneric() {
    bool ending;
    {
        const std::lock_guard lock(state->dicSyncObj);
        ending = !state->loop;
    }
    // The last owner may be a value that the thread itself lets go of.
    if (ending && thread.get_id() != std::this_thread::get_id())
        thread.join();
    else
        thread.detach();
}

ExpiryCacheGeneric::ValuePtr ExpiryCacheGeneric::insert(const QString &key, const ValuePtr &value) {
    return insert(key, value, state->timing.now());
}

ExpiryCacheGeneric::ValuePtr ExpiryCacheGeneric::insert(const QString &key, const ValuePtr &value,
                                                        CacheTime time) {
    ValuePtr previous;  // let go of outside the lock
    const std::lock_guard lock(state->dicSyncObj);
    const bool wakes = state->cache.isEmpty();
    Entry &entry = state->cache[key];
    previous = std::exchange(entry.value, value);
    entry.valid = state->expiry(time);
    if (wakes)
        state->changed.notify_all();
    return value;
}

ExpiryCacheGeneric::ValuePtr ExpiryCacheGeneric::get(const QString &key) {
    return state->get(key);
}

std::optional<CacheTime> ExpiryCacheGeneric::getExpire(const QString &key) const {
    const std::lock_guard lock(state->dicSyncObj);
    const auto entry = state->cache.constFind(key);
    if (entry == state->cache.constEnd())
        return std::nullopt;
    return entry->valid;
}

void ExpiryCacheGeneric::renewCache(const QString &key) {
    const std::lock_guard lock(state->dicSyncObj);
    const auto entry = state->cache.find(key);
    if (entry != state->cache.end())
        entry->valid = state->expiry(state->timing.now());
}

void ExpiryCacheGeneric::remove(const QString &key) {
    Entry removed;  // let go of outside the lock
    const std::lock_guard lock(state->dicSyncObj);
    removed = state->cache.take(key);
}

QList<QString> ExpiryCacheGeneric::KeySet() const {
    const std::lock_guard lock(state->dicSyncObj);
    return state->cache.keys();
}

QList<ExpiryCacheGeneric::ValuePtr> ExpiryCacheGeneric::values() const {
    const std::lock_guard lock(state->dicSyncObj);
    QList<ValuePtr> all;
    for (const Entry &entry : std::as_const(state->cache))
        all.append(entry.value);
    return all;
}

void ExpiryCacheGeneric::dispose() {
    const std::lock_guard lock(state->dicSyncObj);
    state->loop = false;
    state->changed.notify_all();
}

double ExpiryCacheGeneric::defaultValidTime() const {
    const std::lock_guard lock(state->dicSyncObj);
    return state->defaultValidTime;
}

void ExpiryCacheGeneric::setDefaultValidTime(double seconds) {
    const std::lock_guard lock(state->dicSyncObj);
    state->defaultValidTime = seconds;
}
