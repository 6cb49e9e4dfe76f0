#include "platform/system/SignalWatcher.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>

namespace {

std::atomic<int> activePipe{-1};

void forwardSignal(int number) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(number);
    // A full pipe holds the same news already.
    [[maybe_unused]] const ssize_t written = write(activePipe, &byte, 1);
    errno = savedErrno;
}

}  // namespace

SignalWatcher::SignalWatcher(const QList<int> &signalNumbers, std::function<void(int)> handler) {
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("no pipe for signals");
    previousPipe = activePipe.exchange(pipeEnds[1]);
    notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [fd = pipeEnds[0], handler = std::move(handler)] {
                         unsigned char number = 0;
                         // A copy, since the handler may end this watcher.
                         const auto handle = handler;
                         if (read(fd, &number, 1) == 1)
                             handle(number);
                     });
    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    action.sa_flags = SA_RESTART;
    for (int number : signalNumbers) {
        saved.push_back({number, {}});
        sigaction(number, &action, &saved.back().action);
    }
}

SignalWatcher::~SignalWatcher() {
    for (const Saved &each : saved)
        sigaction(each.number, &each.action, nullptr);
    activePipe = previousPipe;
    notifier.reset();
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}
