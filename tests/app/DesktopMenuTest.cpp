#include <fcntl.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include "DesktopFixture.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace {

class DesktopMenu : public DesktopFixture {
  protected:
    // The item of that title in a menu as it opens.
    static MenuItem item(MenuModel &menu, const QString &title) {
        menu.menuWillOpen();
        for (const MenuItem &each : menu.items()) {
            if (each.title == title)
                return each;
        }
        ADD_FAILURE() << "no item " << qPrintable(title);
        return {.title = {}, .action = [] {}};
    }
    MenuItem item(const char *key) {
        return item(*application->statusItem->menuIcon, localizedText(key));
    }
    MenuItem connection(const QString &name) {
        return item(*item("Menu_Connections").submenu, name);
    }
    TestServer server;
};

}  // namespace

TEST_F(DesktopMenu, ShowsTheConnectionsAsTheyAre) {
    EXPECT_FALSE(connection(localizedText("Menu_NoConnections")).isEnabled);
    store("A", server.url());
    application->finishLaunching();
    EXPECT_FALSE(connection("A").isChecked);
    record("A")->isMount = true;
    store("B", server.url());
    EXPECT_TRUE(connection("A").isChecked);
    EXPECT_FALSE(connection("B").isChecked) << "another process has added it";
    record("A")->isMount = false;
    const QString settings = QDir::homePath() + "/.config/velmoradisk/preferences.json";
    ASSERT_TRUE(QFile::rename(settings, settings + ".away") && QDir().mkdir(settings));
    application->reloadConnections();
    ASSERT_TRUE(QDir().rmdir(settings) && QFile::rename(settings + ".away", settings));
    EXPECT_EQ(application->conInfoList.size(), 2) << "what can't be read was not removed";

    server.fault({.method = "OPTIONS", .times = Fault::kAlways, .status = 403});
    connection("B").action();
    EXPECT_TRUE(told().isEmpty()) << "not inside the menu";
    EXPECT_TRUE(waitFor([this] { return !interface.alerts.isEmpty(); }));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_9")));
}

TEST_F(DesktopMenu, ASilentServerKeepsNothingElseFromWorking) {
    store("A", server.url());
    application->finishLaunching();
    server.fault({.times = Fault::kAlways, .stall = true});
    connection("A").action();
    bool isStopped = false;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        if (server.requests().isEmpty() || std::exchange(isStopped, true))
            return;
        EXPECT_FALSE(connection("A").isEnabled);
        EXPECT_TRUE(application->connectVelmora("A")) << "begun already";
        application->WakeupWindow();
        EXPECT_EQ(application->settings->txtBusy.text(),
                  localizedText("Settings_Busy", QString("A")));
        EXPECT_TRUE(application->settings->viewOptionTab.isEnabled());
        item(*application->statusItem->menuIcon, localizedText("Menu_StopConnecting", QString("A")))
            .action();
    });
    timer.start(10);
    EXPECT_TRUE(waitFor([&] { return isStopped && application->settings->txtBusy.isHidden(); }));
    EXPECT_EQ(told(), QStringList());
    EXPECT_FALSE(application->isMount());
}

TEST_F(DesktopMenu, ItemsDoWhatTheySay) {
    const auto press = [this](const char *key, const std::function<bool()> &done) {
        item(key).action();
        EXPECT_TRUE(waitFor(done)) << key;
    };
    application->finishLaunching();
    EXPECT_FALSE(item("Menu_AutoStart").isChecked);
    press("Menu_AutoStart", [this] { return isAutoStart; });
    EXPECT_TRUE(item("Menu_AutoStart").isChecked);
    press("Menu_AutoStart", [this] { return !interface.alerts.isEmpty(); });
    EXPECT_EQ(told(), QStringList("stays"));
    press("Menu_Settings", [this] { return application->settings->window.isVisible(); });
    press("Menu_Quit", [this] { return isQuit; });
}

TEST_F(DesktopMenu, AnOpenedUrlMountsItsConnection) {
    store("Büro", server.url());
    server.fault({.method = "OPTIONS", .times = Fault::kAlways, .status = 403});
    const QString refused = localizedText("AppDelegate_9");
    const QString unknown = localizedText("AppDelegate_51");
    application->handleURLEvent("velmoradisk://go/Büro");
    EXPECT_EQ(told(), QStringList()) << "not before the start has finished";
    application->finishLaunching();
    EXPECT_EQ(told(), QStringList(refused));
    const std::pair<QString, QString> cases[] = {
        {"velmoradisk://go///Büro", refused},
        {"velmoradisk://go/B%C3%BCro", unknown},
        {"velmoradisk://go/", unknown},
        {"velmoradisk:", unknown},
    };
    for (const auto &[url, message] : cases) {
        application->handleURLEvent(url);
        EXPECT_EQ(told(), QStringList(message)) << qPrintable(url);
    }
    application->applicationShouldTerminate([] {});
    server.clearRequests();
    application->handleURLEvent("velmoradisk://go/Büro");
    EXPECT_EQ(told(), QStringList());
    EXPECT_TRUE(server.requests().isEmpty()) << "no login begins while the program ends";
}

TEST_F(DesktopMenu, TheLogGoesWhereTheUserSays) {
    const int standardError = dup(STDERR_FILENO);
    QTemporaryDir folder;
    application->logSelect();
    EXPECT_EQ(told(), QStringList()) << "cancelled";
    interface.savePath = folder.filePath("new/chosen.log");
    application->logSelect();
    EXPECT_EQ(AppDelegate::logPath(), interface.savePath);
    interface.savePath = "/dev/null/x.log";
    application->logSelect();
    EXPECT_EQ(interface.savePanels.last().folder, folder.filePath("new"));
    EXPECT_EQ(interface.savePanels.last().proposedName, "velmoradisk.log");
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_67")));
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    Preferences::standard().remove("log_prace");
}
