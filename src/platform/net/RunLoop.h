#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class CurlMulti;

// A thread's own event loop: timers, sockets, posted work, nested runs. It also owns the thread's
// curl multi handle, so that connections stay open from one request to the next. Made at the first
// use and gone with its thread, idle connections included. Works on any thread while the process
// has a QCoreApplication.
//
// current() and post() may be called by any thread, the rest by the owner alone.
class RunLoop {
  public:
    // The calling thread's loop. Hold on to it to post from other threads.
    static std::shared_ptr<RunLoop> current();
    ~RunLoop();

    // Serves events until the condition holds, which is tested before the first wait and after
    // every round. May be nested: an inner wait doesn't swallow the end of an outer one.
    void runUntil(const std::function<bool()> &done);
    // Runs the function on the owner's thread at its next turn; dropped if that thread has ended.
    void post(std::function<void()> function);

    bool isCurrent() const;
    CurlMulti &curl();

  private:
    RunLoop();
    void shutDown();

    struct Owner;
    struct Inside;
    const std::thread::id thread;
    std::mutex mutex;  // guards inside against posts while the thread ends
    std::unique_ptr<Inside> inside;
};
