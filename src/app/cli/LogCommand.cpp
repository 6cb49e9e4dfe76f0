// log: where the log lies, and what it ends with.

#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include "app/AppDelegate.h"
#include "app/cli/Command.h"
#include "common/Text.h"
#include "platform/net/RunLoop.h"

namespace {

constexpr int kDefaultLines = 20;
constexpr qint64 kTailBytes = 1024 * 1024;  // looked at for the last lines
constexpr int kFollowBeat = 300;            // milliseconds

void printText(QByteArray text, Console &console) {
    if (text.endsWith('\n'))
        text.chop(1);
    if (!text.isEmpty())
        console.print(QString::fromUtf8(text));
}

QByteArray lastLines(const QByteArray &text, int count) {
    qsizetype begin = text.size();
    if (text.endsWith('\n'))
        --begin;
    for (int i = 0; i < count && begin >= 0; ++i)
        begin = begin > 0 ? text.lastIndexOf('\n', begin - 1) : -1;
    return count > 0 ? text.mid(begin + 1) : QByteArray();
}

// Prints whole lines as they come, also from the file that follows a log which was set aside.
class Follower {
  public:
    Follower(const QString &path, qint64 position, Console &console)
        : path(path), position(position), console(console) {}

    void look() {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return;
        if (file.size() < position)
            position = 0;
        file.seek(position);
        const QByteArray text = file.readAll();
        const qsizetype whole = text.lastIndexOf('\n') + 1;
        position += whole;
        printText(text.left(whole), console);
    }

  private:
    const QString path;
    qint64 position;
    Console &console;
};

int showLog(const Invocation &invocation) {
    invocation.readSettings();
    const QString path = AppDelegate::logPath();
    if (invocation.has("path")) {
        invocation.console.print(path);
        return kDone;
    }
    bool isNumber = true;
    const int count =
        invocation.has("lines") ? invocation.value("lines").toInt(&isNumber) : kDefaultLines;
    if (!isNumber || count < 0)
        return invocation.refuse(localizedText("Cli_BadValue", QStringLiteral("lines"),
                                               localizedText("Cli_Expected_Number")));
    invocation.console.print(path);
    QFile file(path);
    if (!file.exists())
        invocation.console.print(localizedText("Cli_LogEmpty"));
    else if (!file.open(QIODevice::ReadOnly) && !invocation.has("follow"))
        return invocation.fail(localizedText("Cli_NoLog", file.errorString()));
    if (file.isOpen()) {
        file.seek(qMax<qint64>(0, file.size() - kTailBytes));
        printText(lastLines(file.readAll(), count), invocation.console);
    }
    if (!invocation.has("follow"))
        return kDone;
    Follower follower(path, file.isOpen() ? file.pos() : 0, invocation.console);
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, &beat, [&follower] { follower.look(); });
    beat.start(kFollowBeat);
    RunLoop::current()->runUntil([] { return false; });
    return kDone;
}

}  // namespace

QList<Command> logCommands() {
    return {{"log",
             "",
             0,
             0,
             "Cli_Command_Log",
             {{"path", nullptr, "Cli_Option_Path"},
              {"lines", "NUMBER", "Cli_Option_Lines", "n"},
              {"follow", nullptr, "Cli_Option_Follow", "f"}},
             showLog}};
}
