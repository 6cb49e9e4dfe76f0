#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>

#include "platform/system/DesktopNotification.h"
#include "support/WaitFor.h"

namespace {

// A desktop's side.
class Desktop : public QDBusVirtualObject {
  public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override {
        if (message.member() == "Notify")
            shown += message.arguments();
        return true;
    }

    QVariantList shown;
};

}  // namespace

TEST(DesktopNotification, ReachesTheDesktopOfASessionAndNeedsNone) {
    QElapsedTimer timer;
    timer.start();
    DesktopNotification::send("Title", "nobody sees it");
    EXPECT_LT(timer.elapsed(), 400);

    const QString program = QStandardPaths::findExecutable("dbus-daemon");
    if (program.isEmpty())
        GTEST_SKIP() << "no dbus-daemon";
    QProcess bus;
    bus.start(program, {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(bus.waitForReadyRead());
    const QString address = QString::fromUtf8(bus.readLine()).trimmed();
    Desktop desktop;
    auto connection = QDBusConnection::connectToBus(address, "desktop");
    ASSERT_TRUE(connection.registerVirtualObject("/org/freedesktop/Notifications", &desktop) &&
                connection.registerService("org.freedesktop.Notifications"));
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    DesktopNotification::send("Title", "<a> & b");
    EXPECT_TRUE(waitFor([&] { return desktop.shown.size() == 8; }));
    EXPECT_EQ(desktop.shown.value(3), "Title");
    EXPECT_EQ(desktop.shown.value(4), "&lt;a&gt; &amp; b");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    QDBusConnection::disconnectFromBus("desktop");
    bus.kill();
    bus.waitForFinished();
}
