// The desktop's part of the application: the status item with its menu, the settings window, URLs,
// and starting at login.

#include <algorithm>

#include <QFileInfo>
#include <QTimer>
#include <QUrl>

#include "app/AppDelegate.h"
#include "app/StatusItem.h"
#include "common/Log.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/ConnectionRules.h"
#include "connection/LoginCheck.h"
#include "connection/SettingsWindow.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "platform/net/RunLoop.h"
#include "platform/system/LoginItems.h"
#include "platform/system/Preferences.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kUploadInterval = 1000;  // milliseconds
// "velmoradisk://go/".
constexpr qsizetype kUrlHeadLength = 17;

void tell(const char *titleKey, const QString &text) {
    VDCommonUtils::showAlert({.title = localizedText(titleKey),
                              .text = text,
                              .informativeText = {},
                              .buttons = {localizedText("Common_Button_OK")}});
}

const MenuItem kSeparator{};

}  // namespace

// What a menu item does serves events of its own for as long as a login takes, which must not
// happen inside the menu.
std::function<void()> AppDelegate::later(std::function<void()> work) {
    return [weak = weak_from_this(), work = std::move(work)] {
        RunLoop::current()->post([weak, work] {
            if (weak.lock())
                work();
        });
    };
}

void AppDelegate::setupStatusItem(std::unique_ptr<LoginItems> items, std::function<void()> quit) {
    loginItems = std::move(items);
    quitProgram = std::move(quit);
    settings.reset(
        new SettingsWindow({connectNames, conInfoList, identities,
                            [this](VDConnectionInfo &record) { return checkLogin(record); },
                            [this] { cancelLogins(); }}));
    statusItem = std::make_unique<StatusItem>();
    connectItems = std::make_shared<MenuModel>();
    connectItems->menuWillOpen = [this] { fillConnectItems(); };
    statusItem->menuIcon->menuWillOpen = [this] { fillMenuIcon(); };
    fillMenuIcon();
    fillConnectItems();
    uploadTimer = std::make_unique<QTimer>();
    uploadTimer->setInterval(kUploadInterval);
    QObject::connect(uploadTimer.get(), &QTimer::timeout, uploadTimer.get(),
                     [this] { showMountState(); });
    showMountState();
}

void AppDelegate::fillMenuIcon() {
    const bool isAutoStart = loginItems->hasItem();
    QList<MenuItem> items{
        {.title = localizedText("Menu_Connections"), .submenu = connectItems},
        kSeparator,
        {.title = localizedText("Menu_AutoStart"),
         .isChecked = isAutoStart,
         .action = later([this, isAutoStart] { putAutoStartItem(isAutoStart); })},
        {.title = localizedText("Menu_Settings"), .action = later([this] { WakeupWindow(); })},
        {.title = localizedText("Menu_Log"), .action = later([this] { logSelect(); })},
        kSeparator,
        {.title = localizedText("Menu_Quit"), .action = later([this] { quit(); })},
    };
    if (!logins.isEmpty())
        items.insert(1, {.title = localizedText("Menu_StopConnecting", logins.last().shownName),
                         .action = [this] { cancelLogins(); }});
    statusItem->menuIcon->setItems(items);
}

void AppDelegate::fillConnectItems() {
    reloadConnections();
    QList<MenuItem> items;
    for (const auto &record : std::as_const(conInfoList)) {
        const QString name = record->connectionName;
        items.append({.title = name,
                      .isEnabled = !isLoggingIn(name),
                      .isChecked = record->isMount,
                      .action = later([this, name] { connectVelmora(name); })});
    }
    if (items.isEmpty())
        items.append({.title = localizedText("Menu_NoConnections"), .isEnabled = false});
    connectItems->setItems(items);
}

void AppDelegate::showMountState() {
    if (!statusItem)
        return;
    StatusItem &item = *statusItem;
    const bool isUploading = std::any_of(pffsList.cbegin(), pffsList.cend(), [](const auto &disk) {
        return disk && !disk->DAVConnection->uploadsUnderWay().isEmpty();
    });
    const QStringList mounted = mountedSince.keys();
    const bool isChanged = item.isMounted == mounted.isEmpty() || item.isUploading != isUploading ||
                           item.mountedNames != mounted;
    item.isMounted = !mounted.isEmpty();
    item.isUploading = isUploading;
    item.mountedNames = mounted;
    item.isMounted ? uploadTimer->start() : uploadTimer->stop();
    settings->mountStateChanged();
    if (isChanged && item.onChanged)
        item.onChanged();
}

void AppDelegate::finishLaunching() {
    std::optional<Error> error;
    Preferences::standard().synchronize(&error);
    if (error)
        tell("Common_Error_Title", error->userInfo[QStringLiteral("OUTPUT")].toString());
    readAllDefault();
    if (settings)
        settings->windowReset();
    // A login serves events, and with them perhaps the next URL.
    while (!autoConnect.isNull())
        connectVelmora(std::exchange(autoConnect, {}));
    inited = true;
}

void AppDelegate::handleURLEvent(const QString &url) {
    VDLog(QStringLiteral("start"));
    QString name = url.mid(kUrlHeadLength);
    while (name.startsWith(QLatin1Char('/')))
        name.remove(0, 1);
    if (inited)
        connectVelmora(name);
    else
        autoConnect = name.isNull() ? QStringLiteral("") : name;
}

void AppDelegate::WakeupWindow() {
    reloadConnections();
    if (!settings->window.isVisible())
        settings->windowReset();
    settings->window.show();
    settings->window.raise();
    if (isMount())
        tell("Common_Confirm_Title", localizedText("AppDelegate_52"));
}

// isOn: as the menu showed it. It shows the change when it opens again.
void AppDelegate::putAutoStartItem(bool isOn) {
    QString problem;
    if (!(isOn ? loginItems->removeItem(&problem) : loginItems->insertItem(&problem)))
        tell("Common_Error_Title", problem);
}

void AppDelegate::quit() {
    if (settings->mayDropForm())
        quitProgram();
}

void AppDelegate::logSelect() {
    const QString path =
        UserInterface::current().runSavePanel({.title = localizedText("AppDelegate_66"),
                                               .folder = QFileInfo(logPath()).path(),
                                               .proposedName = QStringLiteral("velmoradisk.log")});
    if (!path.isNull() && !logSetup(path))
        tell("Common_Error_Title", localizedText("AppDelegate_67"));
}

// Not while the window shows the records or a login uses one.
void AppDelegate::reloadConnections() {
    const bool isInUse = !logins.isEmpty() || (settings && settings->window.isVisible());
    // Settings that can't be read right now say nothing about what was removed.
    if (isInUse || !inited || !Preferences::standard().synchronize(nullptr))
        return;
    const QStringList stored =
        Preferences::standard().value(ConnectionRules::kConnectNames).toStringList();
    const QStringList known = connectNames.connectNames();
    QStringList names;
    for (const QString &name : stored) {
        reloadConnectInfo(name);
        if (conInfoList.contains(name))
            names.append(name);
    }
    for (const QString &name : known) {
        const auto record = names.contains(name) ? nullptr : conInfoList.value(name);
        if (record && record->isMount)
            names.append(name);
        else if (record)
            conInfoList.remove(name);
    }
    connectNames.setConnectNames(names);
}

void AppDelegate::cancelLogins() {
    for (const Login &login : std::as_const(logins))
        login.check->cancel();
}

bool AppDelegate::isLoggingIn(const QString &name) const {
    return std::any_of(logins.begin(), logins.end(),
                       [&name](const Login &login) { return login.name == name; });
}

std::shared_ptr<VDWebDAVConnect> AppDelegate::checkLogin(VDConnectionInfo &connectInfo) {
    LoginCheck check(proxies, identities);
    // The field of the window counts, whichever connection it shows, as long as it is in sight.
    const bool isShown =
        settings && settings->window.isVisible() && !settings->viewOptionTab.isHidden();
    const QString &name = connectInfo.connectionName;
    logins.append({&check, name, name.isEmpty() ? QUrl(connectInfo.RemoteURL).host() : name});
    showLogin();
    auto session = check.checkLogin(
        connectInfo, isShown ? settings->txtMountPoint.text() : connectInfo.mountPoint);
    logins.removeLast();
    showLogin();
    return session;
}

void AppDelegate::showLogin() {
    if (settings)
        settings->showBusy(logins.isEmpty() ? QString() : logins.last().shownName);
}
