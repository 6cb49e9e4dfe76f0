// The log: standard error, sent to a file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "app/AppDelegate.h"
#include "platform/system/Preferences.h"

namespace {

const QString kLogPlace = QStringLiteral("log_prace");
constexpr qint64 kSetAsideFrom = 10'485'761;  // bytes

bool makeParent(const QString &path) {
    return QDir().mkpath(QFileInfo(path).path());
}

bool makeEmptyFile(const QString &path) {
    QFile::remove(path);
    QFile file(path);
    return file.open(QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner);
}

QString expanded(const QString &path) {
    return path.startsWith(QLatin1Char('~')) ? QDir::homePath() + path.mid(1) : path;
}

QString shortened(const QString &path) {
    const QString home = QDir::homePath();
    return path.startsWith(home) ? QLatin1Char('~') + path.mid(home.size()) : path;
}

QString defaultPath() {
    return QDir::homePath() + QStringLiteral("/VelmoraDiskLog/velmoradisk.log");
}

// Where the settings or the default put it, with the folder made and a full log set aside.
QString preparedPath() {
    const QString place = Preferences::standard().value(kLogPlace).toString();
    if (place.isNull())
        return makeParent(defaultPath()) ? defaultPath()
                                         : QDir::homePath() + QStringLiteral("/velmoradisk.log");
    const QString path = expanded(place);
    if (makeParent(path) && QFileInfo(path).size() >= kSetAsideFrom)
        QFile::rename(
            path, path + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss")));
    return path;
}

// Standard error stays what it is where the file can't be opened: its number must never be free for
// another file to take.
void reopenStandardError(const QString &path) {
    const int fd =
        open(QFile::encodeName(path).constData(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    if (struct stat status; fstat(fd, &status) == 0 && S_ISREG(status.st_mode))
        fchmod(fd, 0600);
    dup2(fd, STDERR_FILENO);
    close(fd);
}

}  // namespace

bool AppDelegate::logSetup(const QString &chosenPath) {
    if (!chosenPath.isNull() && !(makeParent(chosenPath) && makeEmptyFile(chosenPath)))
        return false;
    const QString path = chosenPath.isNull() ? preparedPath() : chosenPath;
    reopenStandardError(path);
    Preferences::standard().setValue(kLogPlace, shortened(path));
    Preferences::standard().synchronize(nullptr);
    return true;
}

QString AppDelegate::logPath() {
    const QString place = Preferences::standard().value(kLogPlace).toString();
    return place.isNull() ? defaultPath() : expanded(place);
}

void AppDelegate::joinLog() {
    if (makeParent(logPath()))
        reopenStandardError(logPath());
}
