#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include "common/Text.h"

namespace {

const QString kSources = QStringLiteral(VELMORA_SOURCE_DIR);

QString contents(const QString &path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return QString::fromUtf8(file.readAll());
}

// Key to text.
QMap<QString, QString> textsOf(const QString &language) {
    QMap<QString, QString> texts;
    QXmlStreamReader xml(contents(kSources + "/data/translations/velmora_" + language + ".ts"));
    QString key;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"message") {
            key = xml.attributes().value("id").toString();
            EXPECT_FALSE(texts.contains(key)) << "twice: " << qPrintable(key);
        } else if (xml.name() == u"translation") {
            EXPECT_FALSE(xml.attributes().hasAttribute("type")) << qPrintable(key);
            texts.insert(key, xml.readElementText());
        }
    }
    EXPECT_FALSE(xml.hasError()) << qPrintable(language + ": " + xml.errorString());
    return texts;
}

QStringList placeholders(const QString &text) {
    static const QRegularExpression placeholder("%[0-9]");
    QStringList found;
    for (auto i = placeholder.globalMatch(text); i.hasNext();)
        found.append(i.next().captured());
    found.removeDuplicates();
    found.sort();
    return found;
}

// The keys that the program asks for, directly or through a table.
QMap<QString, QString> usedKeys() {
    static const QRegularExpression use(
        "localizedText\\(\\s*\"([^\"]+)\"|"
        "\"([A-Z][A-Za-z]+_[0-9]+|(?:Common|Cli|GMUserFileSystem)_[A-Za-z_]+)\"");
    static const QRegularExpression comment("//[^\n]*");
    QMap<QString, QString> places;
    for (const char *folder : {"/src", "/apps"}) {
        QDirIterator files(kSources + folder, {"*.cpp", "*.h"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            const QString code = contents(path).remove(comment);
            for (auto i = use.globalMatch(code); i.hasNext();) {
                const QRegularExpressionMatch match = i.next();
                const QString key = match.captured(match.lastCapturedIndex());
                // The name of a window looks the same.
                if (!key.startsWith("VDProgressBarWindow"))
                    places.insert(key, path);
            }
        }
    }
    return places;
}

}  // namespace

TEST(Texts, LanguagesAgree) {
    const QMap<QString, QString> english = textsOf("en");
    const QMap<QString, QString> japanese = textsOf("ja");
    EXPECT_EQ(english.keys(), japanese.keys());
    for (auto text = english.cbegin(); text != english.cend(); ++text) {
        const QString other = japanese.value(text.key());
        EXPECT_FALSE(text->trimmed().isEmpty()) << qPrintable(text.key());
        EXPECT_FALSE(other.trimmed().isEmpty()) << qPrintable(text.key());
        EXPECT_EQ(placeholders(*text), placeholders(other)) << qPrintable(text.key());
    }
}

TEST(Texts, EveryKeyOfTheProgramHasATextAndTheTerminalHasNoOthers) {
    const QMap<QString, QString> english = textsOf("en");
    const QMap<QString, QString> used = usedKeys();
    EXPECT_TRUE(used.contains("Common_Error_Title"));
    for (auto key = used.cbegin(); key != used.cend(); ++key)
        EXPECT_TRUE(english.contains(key.key())) << qPrintable(key.key() + " in " + key.value());
    for (auto text = english.cbegin(); text != english.cend(); ++text) {
        const bool isKnown = !text.key().startsWith("Cli_") || used.contains(text.key());
        EXPECT_TRUE(isKnown) << "stray: " << qPrintable(text.key());
    }
}

TEST(Texts, LocaleChoosesTheLanguage) {
    const QString english = textsOf("en").value("Common_Button_YES");
    const QString japanese = textsOf("ja").value("Common_Button_YES");
    ASSERT_NE(english, japanese);
    const std::pair<QLocale, QString> cases[] = {
        {QLocale("ja_JP"), japanese}, {QLocale("en_GB"), english}, {QLocale("de_DE"), english}};
    for (const auto &[locale, text] : cases) {
        EXPECT_TRUE(installTexts(locale));
        EXPECT_EQ(localizedText("Common_Button_YES"), text) << qPrintable(locale.name());
    }
    EXPECT_EQ(localizedText("NoSuchKey_0"), "NoSuchKey_0");
    EXPECT_TRUE(localizedText("AppDelegate_68", QStringLiteral("Office")).contains("Office"));
}
