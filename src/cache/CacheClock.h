#pragma once

#include <chrono>
#include <functional>

// Times of the caches: monotonic, so that setting the computer's clock neither ages nor renews
// anything.
using CacheTime = std::chrono::steady_clock::time_point;
using CacheClock = std::function<CacheTime()>;

inline CacheTime cacheNow() {
    return std::chrono::steady_clock::now();
}
