#include <QCoreApplication>

#include "app/cli/CommandLine.h"
#include "common/Text.h"
#include "platform/terminal/TerminalConsole.h"

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    installTexts(QLocale::system());
    TerminalConsole console;
    return runCommandLine(QCoreApplication::arguments(), console);
}
