#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include <QHash>
#include <QList>
#include <QString>

// Serialises the calls on one path: first come, first served. A holder that doesn't let go within
// the time limit is pushed out by the next in line and isn't told. Safe from any thread; paths may
// come in any canonical form.
class AccessControler {
  public:
    // Limit in seconds.
    explicit AccessControler(double limit = 5.0);

    // Returns when the token is at the head. A token is any address that the caller uses for this
    // one call.
    void getLock(const QString &path, const void *token);
    // No effect for a token that isn't, or is no longer, at the head.
    void unLock(const QString &path, const void *token);
    // Whether somebody holds the path within the limit.
    bool exsitLock(const QString &path) const;

  private:
    using Time = std::chrono::steady_clock::time_point;

    const std::chrono::duration<double> limitTime;
    mutable std::mutex mutex;  // guards both tables, never held while waiting
    std::condition_variable changed;
    QHash<QString, QList<const void *>> lockMap;  // index 0 holds the path
    QHash<QString, Time> forceLimit;              // when the holder may be pushed out
};
