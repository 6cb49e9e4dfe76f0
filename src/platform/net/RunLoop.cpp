#include "platform/net/RunLoop.h"

#include <thread>
#include <utility>

#include <QCoreApplication>
#include <QEventLoop>

#include "platform/net/CurlMulti.h"
#include "platform/net/Inbox.h"

struct RunLoop::Inside {
    QEventLoop events;  // first: it gives the thread its dispatcher
    Inbox inbox;
    CurlMulti curl;
};

struct RunLoop::Owner {
    std::shared_ptr<RunLoop> loop{new RunLoop};
    ~Owner() { loop->shutDown(); }
};

RunLoop::RunLoop() : thread(std::this_thread::get_id()), inside(std::make_unique<Inside>()) {}

RunLoop::~RunLoop() = default;

std::shared_ptr<RunLoop> RunLoop::current() {
    static thread_local Owner owner;
    return owner.loop;
}

void RunLoop::shutDown() {
    std::unique_ptr<Inside> last;
    const std::lock_guard guard(mutex);
    last = std::move(inside);
}

void RunLoop::runUntil(const std::function<bool()> &done) {
    while (!done())
        inside->events.processEvents(QEventLoop::WaitForMoreEvents);
}

void RunLoop::post(std::function<void()> function) {
    const std::lock_guard guard(mutex);
    if (inside)
        inside->inbox.put(std::move(function));
}

bool RunLoop::isCurrent() const {
    return thread == std::this_thread::get_id();
}

CurlMulti &RunLoop::curl() {
    return inside->curl;
}
