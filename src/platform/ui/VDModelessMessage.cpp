#include "platform/ui/VDModelessMessage.h"

#include <mutex>

#include <QMap>
#include <QUuid>

#include "common/Log.h"
#include "common/Text.h"
#include "platform/ui/MessageShow.h"

namespace {

// Keeps a burst of failures from piling up on the screen.
constexpr int kMaxPending = 6;

std::mutex mutex;  // guards pending
QMap<QString, MessageShow> pending;

}  // namespace

void VDModelessMessage::ShowMessageModeless(const QString &text, const QString &title) {
    const QString shownTitle = title.isNull() ? localizedText("Common_Error_Title") : title;
    MessageShow message;
    message.alert.title = shownTitle;
    message.alert.text = text;
    message.alert.buttons = {QStringLiteral("OK")};
    message.uid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    {
        const std::lock_guard lock(mutex);
        if (pending.size() >= kMaxPending)
            return;
        pending.insert(message.uid, message);
    }
    VDLog(shownTitle + QStringLiteral(": ") + text.simplified());
    message.runAlert();
}

void VDModelessMessage::finishMessage(const QString &uid) {
    const std::lock_guard lock(mutex);
    pending.remove(uid);
}
