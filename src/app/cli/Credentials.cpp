#include "app/cli/Credentials.h"

#include <QDir>

#include "app/cli/Command.h"
#include "common/Text.h"

std::optional<QString> newPassword(const Invocation &invocation, const char *option,
                                   const char *promptKey) {
    if (invocation.has(option)) {
        const auto line = invocation.console.readInputLine();
        if (!line)
            invocation.console.complain(
                localizedText("Cli_NoPasswordInput", QString::fromLatin1(option)));
        return line;
    }
    if (!invocation.console.canAsk()) {
        invocation.console.complain(
            localizedText("Cli_NoTerminalForPassword", QString::fromLatin1(option)));
        return std::nullopt;
    }
    const auto first = invocation.console.askSecret(localizedText(promptKey));
    const auto second =
        first ? invocation.console.askSecret(localizedText("Cli_PromptAgain")) : std::nullopt;
    if (second && *first == *second)
        return first;
    invocation.console.complain(localizedText(second ? "Cli_PasswordsDiffer" : "Cli_Cancelled"));
    return std::nullopt;
}

QString absolutePath(const QString &typed) {
    return typed.isNull() ? typed : QDir::cleanPath(QDir::current().absoluteFilePath(typed));
}

const char *mountPointProblem(const Invocation &invocation) {
    if (!invocation.has("mount-point"))
        return nullptr;
    const QString typed = invocation.value("mount-point");
    if (typed.isEmpty())
        return "AppDelegate_5";
    return absolutePath(typed).count(QLatin1Char('/')) < 2 ? "AppDelegate_2" : nullptr;
}
