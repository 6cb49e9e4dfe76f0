#include "platform/system/LoginItems.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include "common/Text.h"

namespace {

// A path as the first word of an Exec line: quoted, with what the quotes and the line itself give a
// meaning escaped.
QString execWord(const QString &path) {
    QString word;
    for (const QChar character : path) {
        if (QStringLiteral("\"`$\\").contains(character))
            word += QLatin1Char('\\');
        word += character;
        if (character == QLatin1Char('%'))
            word += character;
    }
    return QLatin1Char('"') + word.replace(QLatin1Char('\\'), QLatin1String("\\\\")) +
           QLatin1Char('"');
}

// The program that an Exec line starts.
QString programOf(QString line) {
    line.replace(QLatin1String("\\\\"), QLatin1String("\\"));
    const bool isQuoted = line.startsWith(QLatin1Char('"'));
    QString program;
    for (qsizetype i = isQuoted ? 1 : 0; i < line.size(); ++i) {
        if (line[i] == QLatin1Char(isQuoted ? '"' : ' '))
            break;
        if (isQuoted && line[i] == QLatin1Char('\\') && i + 1 < line.size())
            ++i;
        program += line[i];
    }
    return program.replace(QLatin1String("%%"), QLatin1String("%"));
}

class AutostartFolder : public LoginItems {
  public:
    explicit AutostartFolder(const QString &programPath)
        : folder(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                 QStringLiteral("/autostart")),
          programPath(programPath) {}

    bool hasItem() const override { return !item().isNull(); }

    bool insertItem(QString *problem) override {
        QDir().mkpath(folder);
        QSaveFile file(ownFile());
        const QString entry =
            QStringLiteral(
                "[Desktop Entry]\nType=Application\nVersion=1.0\n"
                "Name=Velmora Disk\nIcon=velmoradisk\nTerminal=false\nExec=%1 --background\n")
                .arg(execWord(programPath));
        const bool isWritten =
            file.open(QIODevice::WriteOnly) && file.write(entry.toUtf8()) >= 0 && file.commit();
        if (!isWritten)
            *problem = localizedText("LoginItems_0", ownFile(), file.errorString());
        return isWritten;
    }

    bool removeItem(QString *problem) override {
        QFile file(item());
        if (file.remove())
            return true;
        *problem = localizedText("LoginItems_0", file.fileName(), file.errorString());
        return false;
    }

  private:
    QString ownFile() const { return folder + QStringLiteral("/velmoradisk.desktop"); }

    // The first file that starts this program; null where none does.
    QString item() const {
        const QDir entries(folder);
        const QStringList names =
            entries.entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
        for (const QString &name : names) {
            if (startsProgram(entries.filePath(name)))
                return entries.filePath(name);
        }
        return {};
    }

    // A hidden entry counts as absent, and some desktops turn one off by a key of their own.
    bool startsProgram(const QString &path) const {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        bool isItem = false;
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            const QString key = line.section(QLatin1Char('='), 0, 0).trimmed();
            const QString value = line.section(QLatin1Char('='), 1).trimmed();
            if (key == QLatin1String("Exec"))
                isItem = isItem || programOf(value).startsWith(programPath);
            const bool isOff = (key == QLatin1String("Hidden") && value == QLatin1String("true")) ||
                               (key == QLatin1String("X-GNOME-Autostart-enabled") &&
                                value == QLatin1String("false"));
            if (isOff)
                return false;
        }
        return isItem;
    }

    const QString folder;
    const QString programPath;
};

}  // namespace

std::unique_ptr<LoginItems> LoginItems::autostartFolder(const QString &programPath) {
    return std::make_unique<AutostartFolder>(programPath);
}
