#include "app/RunAside.h"

#include <utility>

#include <QCoreApplication>
#include <QSet>
#include <QThread>

namespace {

QSet<QThread *> running;  // the main thread's alone

}  // namespace

void runAside(std::function<void()> work, std::function<void()> then) {
    QThread *const thread = QThread::create(std::move(work));
    QObject::connect(thread, &QThread::finished, QCoreApplication::instance(),
                     [thread, then = std::move(then)] {
                         thread->wait();
                         running.remove(thread);
                         delete thread;
                         then();
                     });
    running.insert(thread);
    thread->start();
}

void endAside() {
    for (QThread *const thread : std::as_const(running))
        thread->wait();
}
