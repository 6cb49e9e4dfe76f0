#include "common/Text.h"

#include <QCoreApplication>
#include <QTranslator>

// Registers the compiled texts. Outside any namespace, as the macro asks; it also makes the linker
// keep the resource of a static library.
static void registerTexts() {
    Q_INIT_RESOURCE(translations);
}

bool installTexts(const QLocale &locale) {
    if (!QCoreApplication::instance())
        return false;

    registerTexts();
    static QTranslator translator;
    QCoreApplication::removeTranslator(&translator);
    const QString folder = QStringLiteral(":/translations");
    return (translator.load(locale, QStringLiteral("velmora"), QStringLiteral("_"), folder) ||
            translator.load(QStringLiteral("velmora_en"), folder)) &&
           QCoreApplication::installTranslator(&translator);
}

QString localizedText(const char *key) {
    return qtTrId(key);
}
