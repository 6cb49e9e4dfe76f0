#pragma once

#include <functional>

// Runs the work on a thread of its own, for calls that may wait for a volume; `then` follows on the
// main thread.
void runAside(std::function<void()> work, std::function<void()> then);
// Waits for every work that still runs, whatever becomes of its `then`. Main thread.
void endAside();
