#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include <QList>
#include <QString>

#include "cache/CacheClock.h"

// What the caches' notion of time rests on; a test brings its own.
struct CacheTiming {
    CacheClock now = cacheNow;
    std::chrono::microseconds tick = std::chrono::milliseconds(100);  // unit of the sweeps
};

// A keyed store with a time limit. A value that anybody else still owns doesn't expire: it is
// renewed when its time has come. A thread of the cache's own sweeps out what nobody asks for. Safe
// from any thread.
//
// The thread shares the store: a cache dropped without dispose() leaves both running.
class ExpiryCacheGeneric {
  public:
    using ValuePtr = std::shared_ptr<void>;
    // A value that this says yes to never expires and isn't renewed. Called with the store locked,
    // so it must not use the cache.
    using Exempt = std::function<bool(const ValuePtr &)>;

    static constexpr double kDefaultValidTime = 30.0;

    // defaultValidTime in seconds.
    explicit ExpiryCacheGeneric(double defaultValidTime = kDefaultValidTime,
                                const CacheTiming &timing = {}, Exempt exempt = {});
    // After dispose() waits for the thread's end.
    ~ExpiryCacheGeneric();
    ExpiryCacheGeneric(const ExpiryCacheGeneric &) = delete;
    ExpiryCacheGeneric &operator=(const ExpiryCacheGeneric &) = delete;

    // Stores the value until defaultValidTime after the time, or after now, and answers it.
    ValuePtr insert(const QString &key, const ValuePtr &value);
    ValuePtr insert(const QString &key, const ValuePtr &value, CacheTime time);
    // The value while it is valid, or while somebody else owns it; else nothing.
    ValuePtr get(const QString &key);
    std::optional<CacheTime> getExpire(const QString &key) const;
    void renewCache(const QString &key);
    void remove(const QString &key);
    QList<QString> KeySet() const;
    QList<ValuePtr> values() const;
    // Ends the thread, which then empties the cache. Returns at once.
    void dispose();

    double defaultValidTime() const;
    // The interval of the sweeps stays that of the valid time at construction.
    void setDefaultValidTime(double seconds);

  private:
    struct State;

    const std::shared_ptr<State> state;
    std::thread thread;
};
