#include "app/cli/CommandLine.h"

#include <algorithm>

#include <QCommandLineParser>

#include "app/cli/Command.h"
#include "common/Text.h"
#include "platform/system/Preferences.h"

bool Invocation::has(const char *option) const {
    return options.isSet(QString::fromLatin1(option));
}

QString Invocation::value(const char *option) const {
    return has(option) ? options.value(QString::fromLatin1(option)) : QString();
}

int Invocation::fail(const QString &message) const {
    console.complain(message);
    return kFailed;
}

int Invocation::refuse(const QString &message) const {
    console.complain(message);
    return kUsage;
}

int Invocation::failTold(const QString &message) const {
    if (!interface.hasTold() || !message.isEmpty())
        console.complain(message.isEmpty() ? localizedText("Cli_Cancelled") : message);
    return kFailed;
}

void Invocation::tellProblem(const std::optional<Error> &error) const {
    if (error)
        console.complain(error->userInfo.value(QStringLiteral("OUTPUT")).toString());
}

bool Invocation::readSettings() const {
    std::optional<Error> error;
    const bool isRead = Preferences::standard().synchronize(&error);
    tellProblem(error);
    return isRead;
}

namespace {

const QString kProgram = QStringLiteral("velmoradisk");

QList<Command> allCommands() {
    return connectionCommands() + connectionTestCommands() + mountCommands() + statusCommands() +
           logCommands() + serviceCommands();
}

bool isHidden(const Command &command) {
    return !command.descriptionKey;
}

QString usageOf(const Command &command) {
    return QStringLiteral("%1 %2")
        .arg(QLatin1String(command.name), QLatin1String(command.arguments))
        .trimmed();
}

// The command whose words the line begins with; null for none.
const Command *commandOf(const QList<Command> &commands, const QStringList &words) {
    for (const Command &command : commands) {
        const QStringList name = QString::fromLatin1(command.name).split(QLatin1Char(' '));
        if (words.mid(0, name.size()) == name)
            return &command;
    }
    return nullptr;
}

// The second words of the commands that begin with the word.
QStringList groupOf(const QList<Command> &commands, const QString &first) {
    QStringList group;
    for (const Command &command : commands) {
        const QString name = QString::fromLatin1(command.name);
        if (name.startsWith(first + QLatin1Char(' ')))
            group += name.mid(first.size() + 1);
    }
    return group;
}

void printHelp(const QList<Command> &commands, Console &console) {
    console.print(localizedText("Cli_HelpHead"));
    for (const Command &command : commands) {
        if (!isHidden(command))
            console.print(QStringLiteral("  %1 %2")
                              .arg(usageOf(command), -38)
                              .arg(localizedText(command.descriptionKey)));
    }
    console.print(localizedText("Cli_HelpFoot"));
}

void printHelp(const Command &command, Console &console) {
    console.print(QStringLiteral("%1 %2").arg(kProgram, usageOf(command)).trimmed());
    if (!isHidden(command))
        console.print(localizedText(command.descriptionKey));
    for (const CommandOption &option : command.options) {
        const QString letter =
            option.letter ? QStringLiteral("-%1, ").arg(QLatin1String(option.letter)) : QString();
        const QString name =
            QStringLiteral("%1--%2 %3")
                .arg(letter, QLatin1String(option.name), QLatin1String(option.valueName));
        console.print(
            QStringLiteral("  %1 %2").arg(name, -30).arg(localizedText(option.descriptionKey)));
    }
}

void addOptions(const Command &command, QCommandLineParser &parser) {
    parser.addHelpOption();
    for (const CommandOption &option : command.options) {
        QStringList names{QString::fromLatin1(option.name)};
        if (option.letter)
            names += QString::fromLatin1(option.letter);
        parser.addOption({names, {}, QString::fromLatin1(option.valueName)});
    }
}

QString withDashes(const QString &option) {
    return (option.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + option;
}

// Names the first option that isn't one of the command's, or is given a value that it can't have or
// none that it needs. A value may be a secret, and is never named.
QString problemOf(const QCommandLineParser &parser, const Command &command,
                  const QStringList &words) {
    if (!parser.unknownOptionNames().isEmpty())
        return localizedText("Cli_UnknownOption",
                             withDashes(parser.unknownOptionNames().constFirst()));
    QStringList flags{QStringLiteral("--help")};
    for (const CommandOption &option : command.options) {
        if (!option.valueName)
            flags += withDashes(QString::fromLatin1(option.name));
    }
    for (const QString &word : words) {
        const QString option = word.section(QLatin1Char('='), 0, 0);
        if (word != option && flags.contains(option))
            return localizedText("Cli_ValueTooMany", option);
    }
    // Only the last word can lack its value.
    return localizedText("Cli_ValueMissing", words.constLast().section(QLatin1Char('='), 0, 0));
}

int notUnderstood(Console &console, const QString &problem, const QString &command) {
    console.complain(problem);
    console.complain(
        localizedText("Cli_TryHelp", (kProgram + QLatin1Char(' ') + command).trimmed()));
    return kUsage;
}

int run(const Command &command, const QStringList &words, Console &console) {
    const QString name = QString::fromLatin1(command.name);
    QCommandLineParser parser;
    addOptions(command, parser);
    const bool isParsed = parser.parse(QStringList(kProgram) + words);
    if (parser.isSet(QStringLiteral("help"))) {
        printHelp(command, console);
        return kDone;
    }
    if (!isParsed)
        return notUnderstood(console, problemOf(parser, command, words), name);
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() < command.fewestArguments)
        return notUnderstood(
            console, localizedText("Cli_ArgumentMissing", QString::fromLatin1(command.arguments)),
            name);
    if (arguments.size() > command.mostArguments)
        return notUnderstood(console, localizedText("Cli_TooManyArguments", usageOf(command)),
                             name);
    ConsoleInterface interface(console);
    const int code = command.run({parser, arguments, console, interface});
    if (code == kUsage)
        console.complain(localizedText("Cli_TryHelp", kProgram + QLatin1Char(' ') + name));
    return code;
}

}  // namespace

int runCommandLine(const QStringList &arguments, Console &console) {
    const QList<Command> commands = allCommands();
    const QStringList words = arguments.mid(1);
    const QString first = words.value(0);
    if (first == QStringLiteral("--help") || first == QStringLiteral("-h") ||
        first == QStringLiteral("help")) {
        printHelp(commands, console);
        return kDone;
    }
    if (first == QStringLiteral("--version") || first == QStringLiteral("-v")) {
        console.print(QStringLiteral("Velmora Disk " VELMORA_VERSION));
        return kDone;
    }
    if (words.isEmpty())
        return notUnderstood(console, localizedText("Cli_NoCommand"), {});
    const Command *const command = commandOf(commands, words);
    const QStringList group = groupOf(commands, first);
    if (!command && !group.isEmpty())
        return notUnderstood(
            console,
            localizedText("Cli_CommandIncomplete", first, group.join(QStringLiteral(", "))), {});
    if (!command)
        return notUnderstood(console, localizedText("Cli_UnknownCommand", first), {});
    return run(*command, words.mid(QString::fromLatin1(command->name).count(QLatin1Char(' ')) + 1),
               console);
}
