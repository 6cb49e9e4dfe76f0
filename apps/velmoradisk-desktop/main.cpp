#include <cstdio>

#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QTranslator>

#include "DesktopProgram.h"
#include "common/Text.h"
#include "platform/system/SidebarBookmarks.h"

namespace {

int print(FILE *stream, const QString &text) {
    std::fprintf(stream, "%s\n", qPrintable(text));
    return stream == stderr;
}

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

// What needs no window, with its exit code; nothing where the program is to start.
std::optional<int> runWithoutWindows(int &argc, char **argv, DesktopProgram::Options *options) {
    const QCoreApplication application(argc, argv);
    installTexts(QLocale::system());
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (const QString &argument : arguments) {
        if (argument == QStringLiteral("--help") || argument == QStringLiteral("-h"))
            return print(stdout, localizedText("Desktop_Help"));
        if (argument == QStringLiteral("--version"))
            return print(stdout, QStringLiteral("Velmora Disk " VELMORA_VERSION));
        if (argument == QStringLiteral("--background"))
            options->isBackground = true;
        else if (argument.startsWith(QStringLiteral("velmoradisk:")))
            options->urls += argument;
        else
            return print(stderr, localizedText("Desktop_UnknownArgument", argument)) + 1;
    }
    if (!hasDisplay())
        return print(stderr, localizedText("Desktop_NoDisplay"));
    return std::nullopt;
}

}  // namespace

int main(int argc, char **argv) {
    DesktopProgram::Options options;
    if (const auto code = runWithoutWindows(argc, argv, &options))
        return *code;
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
    return DesktopProgram(options).run();
}
