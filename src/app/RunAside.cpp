#include "app/RunAside.h"

#include <QCoreApplication>
#include <QThread>

void runAside(std::function<void()> work, std::function<void()> then) {
    QThread *const thread = QThread::create(std::move(work));
    QObject::connect(thread, &QThread::finished, QCoreApplication::instance(),
                     [thread, then = std::move(then)] {
                         thread->wait();
                         delete thread;
                         then();
                     });
    thread->start();
}
