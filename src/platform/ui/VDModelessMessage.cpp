#include "platform/ui/VDModelessMessage.h"

#include <mutex>

#include <QMap>
#include <QUuid>

#include "common/Log.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "platform/ui/MessageShow.h"

namespace {

// Keeps a burst of failures from piling up on the screen.
constexpr int kMaxPending = 6;

std::mutex mutex;  // guards pending
QMap<QString, MessageShow> pending;

bool isRoomFor(const MessageShow &message) {
    const std::lock_guard lock(mutex);
    if (pending.size() >= kMaxPending)
        return false;
    pending.insert(message.uid, message);
    return true;
}

}  // namespace

void VDModelessMessage::ShowMessageModeless(const QString &text, const QString &title,
                                            const QString &volume) {
    const QString shownTitle = title.isNull() ? localizedText("Common_Error_Title") : title;
    MessageShow message;
    message.alert.title = shownTitle;
    message.alert.text = text;
    message.alert.buttons = {QStringLiteral("OK")};
    message.alert.volume = volume;
    message.uid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    // The log has what is shown and what isn't.
    VDLog(shownTitle + QStringLiteral(": ") + text.simplified());
    if (isRoomFor(message))
        return message.runAlert();
    VDCommonUtils::postToMainThread(
        [alert = message.alert] { UserInterface::current().keepMessage(alert); });
}

void VDModelessMessage::finishMessage(const QString &uid) {
    const std::lock_guard lock(mutex);
    pending.remove(uid);
}
