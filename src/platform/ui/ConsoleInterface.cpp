#include "platform/ui/ConsoleInterface.h"

#include "common/Text.h"
#include "platform/ui/Console.h"
#include "platform/ui/ConsoleProgressPanel.h"
#include "platform/ui/VDSSLChooserWindowController.h"

namespace {

// The button an answer names: by its number, or by the beginning of its title.
std::optional<int> buttonFor(const QString &answer, const QStringList &buttons) {
    const QString text = answer.trimmed();
    if (text.isEmpty())
        return 0;
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (isNumber && number >= 1 && number <= buttons.size())
        return number - 1;
    for (int i = 0; i < buttons.size(); ++i) {
        if (buttons[i].startsWith(text, Qt::CaseInsensitive))
            return i;
    }
    return std::nullopt;
}

}  // namespace

int ConsoleInterface::runAlert(const Alert &alert) {
    const bool isSeen = console.complain(alert.text);
    if (!alert.informativeText.isEmpty())
        console.complain(alert.informativeText);
    told = true;
    if (alert.buttons.size() > 1)
        return choose(alert);
    return isSeen ? 0 : kUnseen;
}

int ConsoleInterface::choose(const Alert &alert) {
    if (!console.canAsk()) {
        console.complain(localizedText("Cli_Unattended_Certificate"));
        return 0;
    }
    QStringList choices;
    for (int i = 0; i < alert.buttons.size(); ++i)
        choices += QStringLiteral("%1) %2").arg(i + 1).arg(alert.buttons[i]);
    const QString prompt = choices.join(QStringLiteral("  ")) + QStringLiteral(" [1]: ");
    while (const auto answer = console.ask(prompt)) {
        if (const auto button = buttonFor(*answer, alert.buttons))
            return *button;
    }
    return 0;
}

bool ConsoleInterface::runLogin(LoginQuestion &question) {
    if (question.isPassphrase)
        return askPassphrase(question);
    const bool isProxy = !question.title.isEmpty();
    const bool isRefused = !isProxy && isLoginGiven;
    if (!console.canAsk()) {
        console.complain(localizedText(isProxy     ? "Cli_Unattended_ProxyLogin"
                                       : isRefused ? "Cli_LoginRefused"
                                                   : "Cli_Unattended_Login"));
        told = true;
        return false;
    }
    console.complain(isProxy ? question.title
                             : localizedText(isRefused ? "Cli_LoginRefused" : "Cli_LoginTitle"));
    const QString prompt = question.username.isEmpty()
                               ? localizedText("Cli_PromptUser")
                               : localizedText("Cli_PromptUserOr", question.username);
    const auto username = console.ask(prompt);
    if (!username)
        return false;
    const auto password = console.askSecret(localizedText("Cli_PromptPassword"));
    if (!password)
        return false;
    if (!username->isEmpty())
        question.username = *username;
    question.password = *password;
    isLoginGiven = isLoginGiven || !isProxy;
    return true;
}

bool ConsoleInterface::askPassphrase(LoginQuestion &question) {
    console.complain(question.title);
    const auto passphrase = console.askSecret(localizedText("Cli_PromptPassphrase"));
    if (passphrase)
        question.password = *passphrase;
    return passphrase.has_value();
}

int ConsoleInterface::runChooser(VDSSLChooserWindowController &chooser) {
    Table &table = chooser.tableSelectCert;
    if (!console.canAsk()) {
        console.complain(localizedText("Cli_Unattended_ClientCertificate"));
        return VDSSLChooserWindowController::kCancel;
    }
    console.complain(localizedText("Cli_ChooseCertificate"));
    for (int row = 0; row < table.rows().size(); ++row)
        console.complain(localizedText("Cli_CertificateRow", QString::number(row + 1),
                                       table.rows()[row][0], table.rows()[row][1]));
    while (const auto answer = console.ask(localizedText("Cli_PromptCertificate"))) {
        if (answer->trimmed().isEmpty())
            break;
        const int row = answer->toInt() - 1;
        if (row < 0 || row >= table.rows().size())
            continue;
        table.userSelect(row);
        return VDSSLChooserWindowController::kOK;
    }
    return VDSSLChooserWindowController::kCancel;
}

std::unique_ptr<ProgressPanel> ConsoleInterface::makeProgressPanel(const QString &) {
    return std::make_unique<ConsoleProgressPanel>(console);
}
