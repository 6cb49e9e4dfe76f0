#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

// Runs functions on the thread it lives on, in the order they were put there. Any thread may put
// some.
class Inbox : public QObject {
  public:
    void put(std::function<void()> function) {
        const std::lock_guard guard(mutex);
        functions.push_back(std::move(function));
        announce();
    }

    bool event(QEvent *event) override {
        if (!isAnnouncement(*event))
            return QObject::event(event);
        // One function an event, so that a nested run inside of one serves the rest.
        if (const std::function<void()> function = take())
            function();
        return true;
    }

  private:
    // Under the mutex.
    void announce() { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); }

    // An event is made and first looked at under the mutex, since the thread sanitizer doesn't see
    // how Qt hands it over.
    bool isAnnouncement(const QEvent &event) {
        const std::lock_guard guard(mutex);
        return event.type() == QEvent::User;
    }

    std::function<void()> take() {
        const std::lock_guard guard(mutex);
        if (functions.empty())
            return {};
        std::function<void()> first = std::move(functions.front());
        functions.pop_front();
        // A nested run would sleep on events that were posted before it began.
        if (!functions.empty())
            announce();
        return first;
    }

    std::mutex mutex;  // guards functions
    std::deque<std::function<void()>> functions;
};
