#include "app/RelayInterface.h"

#include <QJsonArray>

#include "app/UnseenMessages.h"
#include "common/Log.h"
#include "platform/net/RunLoop.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/DesktopNotification.h"
#include "platform/ui/VDSSLChooserWindowController.h"

bool RelayInterface::hasCommand() const {
    return channel && channel->isOpen();
}

void RelayInterface::takeAnswer(const QJsonObject &answer) {
    answers.insert(answer[QStringLiteral("question")].toInt(), answer);
}

// Nothing when the command went away or the program ends.
std::optional<QJsonObject> RelayInterface::ask(QJsonObject question) {
    const auto command = channel;
    const int number = ++lastQuestion;
    question[QStringLiteral("question")] = number;
    command->send(question);
    RunLoop::current()->runUntil(
        [&] { return answers.contains(number) || !command->isOpen() || isCancelled; });
    if (!answers.contains(number))
        return std::nullopt;
    return answers.take(number);
}

void RelayInterface::noteVolume(const Alert &alert) const {
    if (!alert.volume.isNull() && volumeTold)
        volumeTold(alert);
}

int RelayInterface::runAlert(const Alert &alert) {
    noteVolume(alert);
    // What a volume tells isn't the business of the command that is at work just then.
    if (!hasCommand() || !alert.volume.isNull()) {
        const bool isQuestion = alert.buttons.size() > 1;
        const int button = local && !(isQuestion && isCancelled) ? local->runAlert(alert) : kUnseen;
        if (button != kUnseen)
            return button;
        // Who tells of a volume has logged it already.
        if (alert.volume.isNull())
            VDLog(alert.text.simplified());
        keep(alert);
        return 0;
    }
    const QJsonObject message{
        {QStringLiteral("type"), QStringLiteral("alert")},
        {QStringLiteral("text"), alert.text},
        {QStringLiteral("detail"), alert.informativeText},
        {QStringLiteral("buttons"), QJsonArray::fromStringList(alert.buttons)},
    };
    if (alert.buttons.size() < 2) {
        channel->send(message);
        return 0;
    }
    const auto answer = ask(message);
    const int button = answer ? answer->value(QStringLiteral("button")).toInt() : 0;
    return button >= 0 && button < alert.buttons.size() ? button : 0;
}

bool RelayInterface::runLogin(LoginQuestion &question) {
    if (!hasCommand())
        return local && !isCancelled && local->runLogin(question);
    const auto answer = ask({
        {QStringLiteral("type"), QStringLiteral("login")},
        {QStringLiteral("title"), question.title},
        {QStringLiteral("username"), question.username},
        {QStringLiteral("isPassphrase"), question.isPassphrase},
    });
    if (!answer || !answer->value(QStringLiteral("accepted")).toBool())
        return false;
    question.username = answer->value(QStringLiteral("username")).toString();
    question.password = answer->value(QStringLiteral("password")).toString();
    return true;
}

int RelayInterface::runChooser(VDSSLChooserWindowController &chooser) {
    if (!hasCommand())
        return local && !isCancelled ? local->runChooser(chooser) : 0;
    Table &table = chooser.tableSelectCert;
    QStringList labels, issuers;
    for (const QStringList &row : table.rows()) {
        labels += row[0];
        issuers += row[1];
    }
    const auto answer = ask({
        {QStringLiteral("type"), QStringLiteral("chooser")},
        {QStringLiteral("labels"), QJsonArray::fromStringList(labels)},
        {QStringLiteral("issuers"), QJsonArray::fromStringList(issuers)},
    });
    const int row =
        answer ? answer->value(QStringLiteral("row")).toInt(Table::kNoRow) : Table::kNoRow;
    if (row < 0 || row >= table.rows().size())
        return VDSSLChooserWindowController::kCancel;
    table.userSelect(row);
    return VDSSLChooserWindowController::kOK;
}

void RelayInterface::openFolder(const QString &path) {
    if (local)
        local->openFolder(path);
}

QString RelayInterface::runSavePanel(const SavePanel &panel) {
    return local && !isCancelled ? local->runSavePanel(panel) : QString();
}

std::unique_ptr<ProgressPanel> RelayInterface::makeProgressPanel(const QString &name) {
    return local ? local->makeProgressPanel(name) : nullptr;
}

void RelayInterface::keepMessage(const Alert &alert) {
    noteVolume(alert);
    keep(alert);
}

void RelayInterface::keep(const Alert &alert) {
    UnseenMessages::add(alert.text, alert.volume);
    const bool hasTitle = !alert.title.isEmpty();
    DesktopNotification::send(hasTitle ? alert.title : QStringLiteral("Velmora Disk"), alert.text);
}
