#include <cstdio>

#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QTranslator>

#include "DesktopProgram.h"
#include "common/Text.h"
#include "platform/net/ProxyScript.h"
#include "platform/system/SidebarBookmarks.h"

namespace {

struct CommandLine {
    DesktopProgram::Options options;
    // What is told in the terminal instead of starting.
    const char *textKey = nullptr;
    QString textArgument = {};
    bool isVersion = false;
    int exitCode = 0;
};

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

CommandLine parse(int argc, char **argv) {
    CommandLine line;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (argument == QStringLiteral("--help") || argument == QStringLiteral("-h"))
            return {.options = {}, .textKey = "Desktop_Help"};
        if (argument == QStringLiteral("--version"))
            return {.options = {}, .isVersion = true};
        if (argument == QStringLiteral("--background"))
            line.options.isBackground = true;
        else if (argument.startsWith(QStringLiteral("velmoradisk:")))
            line.options.urls += argument;
        else
            return {.options = {},
                    .textKey = "Desktop_UnknownArgument",
                    .textArgument = argument,
                    .exitCode = 2};
    }
    if (!hasDisplay())
        return {.options = {}, .textKey = "Desktop_NoDisplay", .exitCode = 1};
    return line;
}

int tellInTerminal(const CommandLine &line, int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    installTexts(QLocale::system());
    QString text = QStringLiteral("Velmora Disk " VELMORA_VERSION);
    if (!line.isVersion)
        text = line.textArgument.isNull() ? localizedText(line.textKey)
                                          : localizedText(line.textKey, line.textArgument);
    std::fprintf(line.exitCode == 0 ? stdout : stderr, "%s\n", qPrintable(text));
    return line.exitCode;
}

}  // namespace

int main(int argc, char **argv) {
    ProxyScript::endIfChild(argc, argv);
    const CommandLine line = parse(argc, argv);
    if (line.textKey || line.isVersion)
        return tellInTerminal(line, argc, argv);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setDesktopFileName(QStringLiteral("velmoradisk"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/velmoradisk.svg")));
    installTexts(QLocale::system());
    QTranslator toolkitTexts;
    if (toolkitTexts.load(QLocale::system(), QStringLiteral("qtbase"), QStringLiteral("_"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&toolkitTexts);
    FavoritesList::install(SidebarBookmarks::ofThisDesktop());
    return DesktopProgram(line.options).run();
}
