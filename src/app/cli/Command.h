#pragma once

#include <optional>

#include <QList>
#include <QString>
#include <QStringList>

#include "common/Error.h"
#include "platform/ui/Console.h"
#include "platform/ui/ConsoleInterface.h"

class QCommandLineParser;

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

// One command line that was understood.
struct Invocation {
    const QCommandLineParser &options;
    const QStringList arguments;  // what is neither command nor option
    Console &console;
    ConsoleInterface &interface;

    bool has(const char *option) const;
    // Null for an option that wasn't given.
    QString value(const char *option) const;

    // Tells the person and returns the exit code.
    int fail(const QString &message) const;
    int refuse(const QString &message) const;
    // A failure that may have been told already; `message` is for one that wasn't.
    int failTold(const QString &message) const;
    // Tells the person what an error of the settings says, if there is one.
    void tellProblem(const std::optional<Error> &error) const;
    // Takes in the saved settings and tells what is wrong with them; false where they can't be
    // read.
    bool readSettings() const;
};

struct CommandOption {
    const char *name;
    const char *valueName;  // null for one without a value
    const char *descriptionKey;
    const char *letter = nullptr;  // its short form
};

struct Command {
    const char *name;       // "connection add"
    const char *arguments;  // as the help shows them
    int fewestArguments;
    int mostArguments;
    const char *descriptionKey;
    QList<CommandOption> options;
    int (*run)(const Invocation &);
};

// The commands of one file each.
QList<Command> connectionCommands();
QList<Command> connectionTestCommands();
QList<Command> mountCommands();
QList<Command> statusCommands();
QList<Command> logCommands();
QList<Command> serviceCommands();
