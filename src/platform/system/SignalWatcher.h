#pragma once

#include <csignal>
#include <functional>
#include <memory>
#include <vector>

#include <QList>

class QSocketNotifier;

// Hands signals to the event loop of the thread that made it, for as long as it lives. Watchers
// nest: the newest gets the signals, and what was set before comes back when it ends.
class SignalWatcher {
  public:
    SignalWatcher(const QList<int> &signalNumbers, std::function<void(int)> handler);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher &) = delete;
    SignalWatcher &operator=(const SignalWatcher &) = delete;

  private:
    struct Saved {
        int number;
        struct sigaction action;
    };

    int pipeEnds[2];
    int previousPipe;
    std::vector<Saved> saved;
    std::unique_ptr<QSocketNotifier> notifier;
};
