#include "DesktopProgram.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QJsonArray>
#include <QTimer>

#include "SettingsForm.h"
#include "app/ServiceClient.h"
#include "app/StatusItem.h"
#include "common/Text.h"
#include "connection/SettingsWindow.h"
#include "platform/desktop/MenuMirror.h"
#include "platform/net/RunLoop.h"
#include "platform/system/LoginItems.h"

namespace {

constexpr int kTakeOverLimit = 30'000;  // milliseconds for the other instance's end
constexpr int kRetryPause = 100;        // milliseconds
constexpr int kUnexplainedWait = 1000;  // milliseconds

QJsonObject request(const char *command, const QJsonObject &fields = {}) {
    QJsonObject result = fields;
    result[QStringLiteral("command")] = QLatin1String(command);
    return result;
}

void tell(const QString &text) {
    UserInterface::current().runAlert({.title = localizedText("Common_Error_Title"),
                                       .text = text,
                                       .informativeText = {},
                                       .buttons = {localizedText("Common_Button_OK")}});
}

}  // namespace

DesktopProgram::DesktopProgram(const Options &options)
    : options(options), service(proxies, identities, &interface) {
    service.setWindows({.show = [this](const QJsonObject &request) { return show(request); },
                        .endBegins =
                            [this] {
                                if (!isQuitting)
                                    interface.closeAll();
                            }});
    interface.unread = [](const Alert &alert) { UserInterface::current().keepMessage(alert); };
}

DesktopProgram::~DesktopProgram() = default;

int DesktopProgram::run() {
    using ServiceLauncher::Answer;
    ServiceLauncher::Launch started = service.begin();
    if (started.answer == Answer::HeldByAnother) {
        const Handover handover = handOver();
        if (handover != Handover::Gone)
            return handover == Handover::Taken ? 0 : 1;
        started = beginAfterOther();
    }
    if (started.answer != Answer::Ready) {
        tell(started.answer == Answer::Failed ? localizedText("Cli_ServiceFailed", started.reason)
                                              : localizedText("Cli_ServiceStopping"));
        return 1;
    }
    setupWindows();
    QTimer::singleShot(0, &menu, [this] { launch(); });
    service.run();
    return 0;
}

// Asking the other one again would keep it from ending.
ServiceLauncher::Launch DesktopProgram::beginAfterOther() {
    const QDeadlineTimer deadline(kTakeOverLimit);
    QTimer wake;
    wake.start(kRetryPause);
    ServiceLauncher::Launch started{ServiceLauncher::Answer::HeldByAnother, {}};
    RunLoop::current()->runUntil([&] {
        started = service.begin();
        return started.answer != ServiceLauncher::Answer::HeldByAnother || deadline.hasExpired();
    });
    return started;
}

// An instance with windows shows itself. One without them, which the command velmoradisk started,
// makes way if the user wishes so.
DesktopProgram::Handover DesktopProgram::handOver() {
    ServiceClient client(interface);
    if (!client.reachRunning())
        return Handover::Gone;
    QList<QJsonObject> requests;
    for (const QString &url : options.urls)
        requests += request("open", {{QStringLiteral("url"), url}});
    if (requests.isEmpty())
        requests += request("show");
    for (const QJsonObject &each : std::as_const(requests)) {
        const auto result = client.request(each);
        if (!result)
            return Handover::Gone;
        if (result->value(QStringLiteral("ok")).toBool())
            continue;
        const auto status = client.request(request("status"));
        QStringList mounted;
        const QJsonArray mounts =
            status ? status->value(QStringLiteral("mounts")).toArray() : QJsonArray();
        for (const auto &mount : mounts)
            mounted += mount[QStringLiteral("name")].toString();
        return endOtherMounts(client, mounted) ? Handover::Gone : Handover::Refused;
    }
    return Handover::Taken;
}

bool DesktopProgram::endOtherMounts(ServiceClient &client, const QStringList &names) {
    if (names.isEmpty())
        return true;
    const int button = interface.runAlert(
        {.title = localizedText("Common_Confirm_Title"),
         .text = localizedText("Desktop_TakeOver", names.join(QStringLiteral(", "))),
         .informativeText = {},
         .buttons = {localizedText("Common_Button_Cancel"),
                     localizedText("Desktop_TakeOver_Yes")}});
    if (button == 0)
        return false;
    for (const QString &name : names) {
        const auto result = client.request(request("unmount", {{QStringLiteral("target"), name}}));
        if (result && !result->value(QStringLiteral("ok")).toBool()) {
            tell(result->value(QStringLiteral("message")).toString());
            return false;
        }
    }
    return true;
}

void DesktopProgram::setupWindows() {
    AppDelegate &application = service.delegate();
    application.setupStatusItem(
        LoginItems::autostartFolder(QCoreApplication::applicationFilePath()), [this] { quit(); });
    StatusItem &status = *application.statusItem;
    mirrorMenu(menu, status.menuIcon);
    tray = std::make_unique<TrayIcon>(menu);
    settings = std::make_unique<SettingsForm>(*application.settings, menu);
    status.onChanged = [this] { showState(); };
    showState();
    // The session waits for this before it ends the program.
    QObject::connect(
        qGuiApp, &QGuiApplication::commitDataRequest, &menu, [this] { service.quit(); },
        Qt::DirectConnection);
}

void DesktopProgram::launch() {
    AppDelegate &application = service.delegate();
    // Without an icon the window is all that the user sees, also while a mount asks for a login.
    if (!options.isBackground && !TrayIcon::hasPlace())
        showSettings();
    for (const QString &url : options.urls)
        application.handleURLEvent(url);
    service.finishLaunching();
    if (!options.isBackground && application.conInfoList.isEmpty())
        showSettings();
}

void DesktopProgram::showState() {
    const StatusItem &status = *service.delegate().statusItem;
    tray->setState(status.isMounted, status.isUploading);
    tray->setToolTip(
        (QStringList(localizedText("Common_Title")) + status.mountedNames).join(QLatin1Char('\n')));
}

bool DesktopProgram::show(const QJsonObject &request) {
    const QString command = request[QStringLiteral("command")].toString();
    // In a turn of its own, since it may ask, and who requests it doesn't wait for that.
    const auto later = [this](std::function<void()> work) {
        QTimer::singleShot(0, &menu, std::move(work));
    };
    if (command == QStringLiteral("show"))
        later([this] { service.delegate().WakeupWindow(); });
    else if (command == QStringLiteral("open"))
        later([this, url = request[QStringLiteral("url")].toString()] {
            service.delegate().handleURLEvent(url);
        });
    else
        return false;
    return true;
}

void DesktopProgram::showSettings() {
    Window &window = service.delegate().settings->window;
    window.show();
    window.raise();
}

void DesktopProgram::quit() {
    if (isQuitting)
        return;
    isQuitting = true;
    interface.cancelQuestions();
    QTimer::singleShot(kUnexplainedWait, &menu, [this] {
        waiting =
            std::make_unique<QMessageBox>(QMessageBox::Information, localizedText("Common_Title"),
                                          localizedText("Desktop_Quitting"));
        waiting->addButton(localizedText("Common_Button_OK"), QMessageBox::AcceptRole);
        waiting->setWindowModality(Qt::NonModal);
        waiting->show();
    });
    service.quit();
}
