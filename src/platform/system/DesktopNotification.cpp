#include "platform/system/DesktopNotification.h"

#include <chrono>
#include <future>
#include <thread>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

#include "platform/system/SessionBus.h"

namespace {

constexpr auto kConnectLimit = std::chrono::milliseconds(500);

QDBusMessage notification(const QString &title, const QString &text) {
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/Notifications"),
                                       service, QStringLiteral("Notify"));
    constexpr uint kNewOne = 0;
    constexpr int kDefaultDuration = -1;
    call.setArguments({QStringLiteral("Velmora Disk"), kNewOne, QStringLiteral("velmoradisk"),
                       title, text.toHtmlEscaped(), QStringList(), QVariantMap(),
                       kDefaultDuration});
    return call;
}

}  // namespace

void DesktopNotification::send(const QString &title, const QString &text) {
    // None is started for a notification.
    if (!SessionBus::isThere())
        return;
    // Connecting waits for the bus, and this thread must not wait long for one that hangs.
    std::packaged_task<void()> task(
        [call = notification(title, text)] { QDBusConnection::sessionBus().send(call); });
    const std::future<void> sent = task.get_future();
    std::thread(std::move(task)).detach();
    sent.wait_for(kConnectLimit);
}
