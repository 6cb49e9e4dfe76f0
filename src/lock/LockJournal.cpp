#include "lock/LockJournal.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include "platform/system/FileLock.h"

namespace {

constexpr char kTaken = '+';
constexpr char kReleased = '-';

// A line is the sign, the URL, a blank and the token; the last one may be torn.
void readInto(const QString &path, QList<HeldLock> &locks) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine());
        const qsizetype blank = line.indexOf(QLatin1Char(' '));
        if (blank < 0 || !line.endsWith(QLatin1Char('\n')))
            continue;
        const QString token = line.mid(blank + 1).chopped(1);
        if (line.at(0) == QLatin1Char(kReleased))
            locks.removeIf([&](const HeldLock &lock) { return lock.token == token; });
        else
            locks.append({QUrl(line.mid(1, blank - 1)), token});
    }
}

}  // namespace

LockJournal::LockJournal(const QString &folder) : folder(folder) {}

LockJournal::~LockJournal() {
    leftFiles.clear();
    if (!folder.isNull())
        QDir().rmdir(folder);
}

void LockJournal::put(const QString &name, const HeldLock &lock) {
    if (folder.isNull() || held.value(name).token == lock.token)
        return;
    remove(name);
    if (!file && !open())
        return;
    held[name] = lock;
    write(kTaken, lock);
}

void LockJournal::remove(const QString &name) {
    const auto found = held.constFind(name);
    if (found == held.constEnd())
        return;
    write(kReleased, *found);
    held.erase(found);
    if (held.isEmpty())
        close();
}

bool LockJournal::open() {
    QDir().mkdir(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString path =
        folder + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::WithoutBraces);
    auto lock = std::make_unique<FileLock>(path);
    auto opened = std::make_unique<QFile>(path);
    if (lock->take(0) != 0 || !opened->open(QIODevice::Append | QIODevice::Unbuffered))
        return false;
    fileLock = std::move(lock);
    file = std::move(opened);
    return true;
}

void LockJournal::close() {
    fileLock->removeFile();
    fileLock.reset();
    file.reset();
    QDir().rmdir(folder);
}

void LockJournal::write(char sign, const HeldLock &lock) {
    const QString url = lock.resource.toString(QUrl::FullyEncoded);
    file->write(
        (QLatin1Char(sign) + url + QLatin1Char(' ') + lock.token + QLatin1Char('\n')).toUtf8());
}

QList<HeldLock> LockJournal::left() {
    QList<HeldLock> locks;
    const QDir files(folder);
    const QStringList names = folder.isNull() ? QStringList() : files.entryList(QDir::Files);
    for (const QString &name : names) {
        if (QUuid::fromString(name).isNull())
            continue;  // nothing of a journal's
        auto lock = std::make_unique<FileLock>(files.filePath(name));
        if (lock->take(0) != 0)
            continue;
        const qsizetype before = locks.size();
        readInto(files.filePath(name), locks);
        if (locks.size() == before)
            lock->removeFile();
        else
            leftFiles.push_back(std::move(lock));
    }
    return locks;
}

void LockJournal::dropLeft() {
    for (const auto &lock : leftFiles)
        lock->removeFile();
    leftFiles.clear();
}
