#include <QCoreApplication>

#include "app/cli/CommandLine.h"
#include "common/Text.h"
#include "platform/net/ProxyScript.h"
#include "platform/system/SidebarBookmarks.h"
#include "platform/terminal/TerminalConsole.h"

int main(int argc, char **argv) {
    ProxyScript::endIfChild(argc, argv);
    QCoreApplication application(argc, argv);
    installTexts(QLocale::system());
    FavoritesList::install(SidebarBookmarks::ofThisDesktop());
    TerminalConsole console;
    return runCommandLine(QCoreApplication::arguments(), console);
}
