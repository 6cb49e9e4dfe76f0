#include "app/ServiceClient.h"

#include <csignal>

#include <QDeadlineTimer>
#include <QLocale>
#include <QThread>
#include <QTimer>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "platform/net/RunLoop.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/ServiceLauncher.h"
#include "platform/system/SignalWatcher.h"
#include "platform/system/SingleInstance.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/VDSSLChooserWindowController.h"
#include "platform/ui/VDSSLTableData.h"

namespace {

// An instance that ends may still be bringing written files to the server.
constexpr int kReachLimit = 30'000;     // milliseconds
constexpr int kGreetingLimit = 10'000;  // milliseconds
constexpr int kRetryPause = 100;        // milliseconds

}  // namespace

ServiceClient::ServiceClient(UserInterface &interface) : interface(interface) {}

ServiceClient::~ServiceClient() = default;

QString ServiceClient::reach() {
    const QDeadlineTimer deadline(kReachLimit);
    while (!deadline.hasExpired()) {
        if (connectNow())
            return {};
        const ServiceLauncher::Launch launch = ServiceLauncher::start({QStringLiteral("service")});
        if (launch.answer == ServiceLauncher::Answer::Failed)
            return localizedText("Cli_ServiceFailed", launch.reason);
        if (launch.answer == ServiceLauncher::Answer::HeldByAnother)
            QThread::msleep(kRetryPause);
    }
    return localizedText("Cli_ServiceStopping");
}

bool ServiceClient::reachRunning() {
    const QDeadlineTimer deadline(kReachLimit);
    while (!deadline.hasExpired()) {
        if (connectNow())
            return true;
        // One that starts or ends holds the lock without answering yet, or any more.
        SingleInstance instance;
        if (instance.take() != SingleInstance::Outcome::HeldByAnother)
            return false;
        QThread::msleep(kRetryPause);
    }
    return false;
}

// An instance that is about to end may take a connection and never greet.
bool ServiceClient::connectNow() {
    isGreeted = false;
    channel = ControlChannel::connectTo(SingleInstance::socketPath());
    if (!channel)
        return false;
    channel->onMessage = [this](const QJsonObject &message) { take(message); };
    channel->onClosed = [] {};
    const QDeadlineTimer deadline(kGreetingLimit);
    QTimer wake;
    wake.start(kGreetingLimit);
    RunLoop::current()->runUntil(
        [&] { return isGreeted || !channel->isOpen() || deadline.hasExpired(); });
    return isGreeted;
}

std::optional<QJsonObject> ServiceClient::request(const QJsonObject &request) {
    result.reset();
    channel->send(request);
    RunLoop::current()->runUntil([this] { return result || !channel->isOpen(); });
    panel.reset();
    return result;
}

QJsonArray ServiceClient::stay(const QString &mountedName) {
    const SignalWatcher watcher({SIGINT, SIGTERM, SIGHUP}, [&](int) {
        channel->send({{QStringLiteral("command"), QStringLiteral("unmount")},
                       {QStringLiteral("target"), mountedName},
                       {QStringLiteral("force"), true}});
    });
    RunLoop::current()->runUntil([this] { return toldAtEnd || !channel->isOpen(); });
    return toldAtEnd.value_or(QJsonArray());
}

void ServiceClient::take(const QJsonObject &message) {
    const QString type = message[QStringLiteral("type")].toString();
    if (type == QStringLiteral("hello"))
        isGreeted = true;
    else if (type == QStringLiteral("alert"))
        takeAlert(message);
    else if (type == QStringLiteral("login"))
        takeLogin(message);
    else if (type == QStringLiteral("chooser"))
        takeChooser(message);
    else if (type == QStringLiteral("progress"))
        takeProgress(message[QStringLiteral("uploads")].toArray());
    else if (type == QStringLiteral("result"))
        result = message;
    else if (type == QStringLiteral("ended"))
        toldAtEnd = message[QStringLiteral("messages")].toArray();
}

void ServiceClient::takeAlert(const QJsonObject &message) {
    const Alert alert{
        .title = {},
        .text = message[QStringLiteral("text")].toString(),
        .informativeText = message[QStringLiteral("detail")].toString(),
        .buttons = message[QStringLiteral("buttons")].toVariant().toStringList(),
    };
    const int button = interface.runAlert(alert);
    if (message.contains(QStringLiteral("question")))
        answer(message, {{QStringLiteral("button"), button}});
}

void ServiceClient::takeLogin(const QJsonObject &message) {
    LoginQuestion question{
        .title = message[QStringLiteral("title")].toString(),
        .username = message[QStringLiteral("username")].toString(),
        .password = {},
        .isPassphrase = message[QStringLiteral("isPassphrase")].toBool(),
    };
    const bool isAccepted = interface.runLogin(question);
    answer(message, {{QStringLiteral("accepted"), isAccepted},
                     {QStringLiteral("username"), question.username},
                     {QStringLiteral("password"), question.password}});
}

void ServiceClient::takeChooser(const QJsonObject &message) {
    VDSSLTableData data{
        .certLavels = message[QStringLiteral("labels")].toVariant().toStringList(),
        .certIssurs = message[QStringLiteral("issuers")].toVariant().toStringList(),
    };
    VDSSLChooserWindowController chooser(data);
    const bool isChosen = interface.runChooser(chooser) == VDSSLChooserWindowController::kOK;
    answer(message, {{QStringLiteral("row"),
                      isChosen ? chooser.tableSelectCert.selectedRow() : Table::kNoRow}});
}

// A volume uploads one file after the other.
void ServiceClient::takeProgress(const QJsonArray &uploads) {
    if (uploads.isEmpty())
        return panel.reset();
    if (!panel)
        panel = interface.makeProgressPanel(QStringLiteral("VDProgressBarWindow_0"));
    if (!panel)
        return;
    const QJsonObject upload = uploads.first().toObject();
    const auto size = [&upload](const char *key) {
        return QLocale().formattedDataSize(upload[QLatin1String(key)].toInteger());
    };
    panel->setFileName(VDCommonUtils::lastPathComponent(upload[QStringLiteral("path")].toString()));
    panel->setCountText(localizedText("Cli_Uploaded", size("sent"), size("total")));
    panel->show();
}

void ServiceClient::answer(const QJsonObject &question, QJsonObject answer) {
    answer[QStringLiteral("type")] = QStringLiteral("answer");
    answer[QStringLiteral("question")] = question[QStringLiteral("question")];
    channel->send(answer);
}
