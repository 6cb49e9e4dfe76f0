#include "platform/ui/MessageShow.h"

#include <deque>

#include <QCoreApplication>

#include "common/VDCommonUtils.h"
#include "platform/ui/VDModelessMessage.h"

namespace {

// The main thread's alone. A shown alert may serve events, and with them the next runAlert, which
// must wait for its turn.
std::deque<MessageShow> waiting;
bool showing = false;

void showWaiting() {
    if (showing)
        return;
    showing = true;
    while (!waiting.empty()) {
        const MessageShow message = waiting.front();
        waiting.pop_front();
        VDCommonUtils::showAlert(message.alert);
        VDModelessMessage::finishMessage(message.uid);
    }
    showing = false;
}

}  // namespace

void MessageShow::runAlert() const {
    QCoreApplication *mainThread = QCoreApplication::instance();
    if (!mainThread)
        return;
    const auto turn = [message = *this] {
        waiting.push_back(message);
        showWaiting();
    };
    QMetaObject::invokeMethod(mainThread, turn, Qt::QueuedConnection);
}
