#include <future>
#include <memory>
#include <mutex>

#include <QCoreApplication>
#include <QThread>

#include "common/VDCommonUtils.h"
#include "platform/net/Inbox.h"

namespace VDCommonUtils {

namespace {

std::mutex inboxMutex;  // guards inbox
// What waits for the main thread, made by it before main(). Null once the application has ended.
std::unique_ptr<Inbox> inbox = std::make_unique<Inbox>();

// Drops the calls that the main thread never got to, which ends the waits for them.
void closeInbox() {
    std::unique_ptr<Inbox> dropped;
    const std::lock_guard guard(inboxMutex);
    dropped.swap(inbox);
}

[[maybe_unused]] const bool closesWithApplication = (qAddPostRoutine(closeInbox), true);

void post(std::function<void()> function) {
    const std::lock_guard guard(inboxMutex);
    if (inbox)
        inbox->put(std::move(function));
}

}  // namespace

int showAlert(const Alert &alert) {
    return execMainThread([&] { return UserInterface::current().runAlert(alert); });
}

bool runOnMainThread(const std::function<void()> &function) {
    const QCoreApplication *const application = QCoreApplication::instance();
    if (!application)
        return false;
    if (QThread::currentThread() == application->thread()) {
        function();
        return true;
    }
    auto done = std::make_shared<std::promise<void>>();
    const std::future<void> served = done->get_future();
    bool ran = false;
    post([&function, &ran, done = std::move(done)] {
        function();
        ran = true;
        done->set_value();
    });
    served.wait();
    return ran;
}

void postToMainThread(std::function<void()> function) {
    const QCoreApplication *const application = QCoreApplication::instance();
    if (application && QThread::currentThread() == application->thread())
        function();
    else
        post(std::move(function));
}

}  // namespace VDCommonUtils
