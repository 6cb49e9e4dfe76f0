#pragma once

#include <chrono>
#include <functional>

#include <QTimer>

#include "platform/net/RunLoop.h"

// Serves the thread's run loop until the condition holds; false if that takes suspiciously long.
inline bool waitFor(const std::function<bool()> &condition,
                    std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const std::shared_ptr<RunLoop> loop = RunLoop::current();
    bool late = false;
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, &watchdog, [&late] { late = true; });
    watchdog.start(limit);
    loop->runUntil([&] { return late || condition(); });
    return condition();
}
