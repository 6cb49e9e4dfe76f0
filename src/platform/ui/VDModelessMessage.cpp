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
constexpr int kMaxRecent = 20;

std::mutex mutex;  // guards the following
QMap<QString, MessageShow> pending;
QList<VDModelessMessage::Message> recent;

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
        recent.append({QDateTime::currentDateTimeUtc(), shownTitle, text});
        if (recent.size() > kMaxRecent)
            recent.removeFirst();
    }
    VDLog(shownTitle + QStringLiteral(": ") + text);
    message.runAlert();
}

void VDModelessMessage::finishMessage(const QString &uid) {
    const std::lock_guard lock(mutex);
    pending.remove(uid);
}

QList<VDModelessMessage::Message> VDModelessMessage::recentMessages() {
    const std::lock_guard lock(mutex);
    return recent;
}
