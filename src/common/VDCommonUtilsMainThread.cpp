#include <QCoreApplication>
#include <QThread>

#include "common/VDCommonUtils.h"
#include "platform/net/Inbox.h"

namespace VDCommonUtils {

int showAlert(const Alert &alert) {
    return execMainThread([&] { return UserInterface::current().runAlert(alert); });
}

bool runOnMainThread(const std::function<void()> &function) {
    QCoreApplication *const application = QCoreApplication::instance();
    if (!application)
        return false;
    if (QThread::currentThread() == application->thread()) {
        function();
        return true;
    }
    // A call that the main thread never got to is dropped with its event queue, which ends the wait
    // as well.
    bool ran = false;
    QMetaObject::invokeMethod(
        application,
        [&] {
            function();
            ran = true;
        },
        Qt::BlockingQueuedConnection);
    return ran;
}

void postToMainThread(std::function<void()> function) {
    QCoreApplication *const application = QCoreApplication::instance();
    if (!application)
        return;
    if (QThread::currentThread() == application->thread()) {
        function();
        return;
    }
    static Inbox *const inbox = [application] {
        auto *const made = new Inbox;  // for the life of the process: threads may outlive main
        made->moveToThread(application->thread());
        return made;
    }();
    inbox->put(std::move(function));
}

}  // namespace VDCommonUtils
