#include "app/UnseenMessages.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include "platform/system/FileLock.h"
#include "platform/system/SingleInstance.h"

namespace {

constexpr qsizetype kMostMessages = 100;
constexpr qsizetype kLongestText = 4000;  // characters; a server may have a part in it
constexpr int kLockLimit = 2000;          // milliseconds

QString filePath() {
    return SingleInstance::folder() + QStringLiteral("/messages.json");
}

QJsonArray read() {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).array();
}

void write(const QJsonArray &messages) {
    QSaveFile file(filePath());
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(QJsonDocument(messages).toJson());
    file.commit();
}

}  // namespace

void UnseenMessages::add(const QString &text, const QString &volume) {
    if (!SingleInstance::makeFolder())
        return;
    FileLock lock(filePath() + QStringLiteral(".lock"));
    lock.take(kLockLimit);
    QJsonArray messages = read();
    while (messages.size() >= kMostMessages)
        messages.removeFirst();
    messages +=
        QJsonObject{{QStringLiteral("when"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
                    {QStringLiteral("volume"), volume.isNull() ? QStringLiteral("") : volume},
                    {QStringLiteral("text"), text.left(kLongestText)}};
    write(messages);
}

QJsonArray UnseenMessages::all() {
    return read();
}

void UnseenMessages::show(const std::function<bool(const QJsonObject &message)> &see) {
    if (!QFile::exists(filePath()))
        return;
    FileLock lock(filePath() + QStringLiteral(".lock"));
    // Without the lock a message that comes at this moment would go unseen.
    const bool isLocked = lock.take(kLockLimit) == 0;
    const QJsonArray messages = read();
    QJsonArray unseen;
    for (const auto &message : messages) {
        if (!see(message.toObject()))
            unseen += message;
    }
    if (!isLocked || unseen.size() == messages.size())
        return;
    if (unseen.isEmpty())
        QFile::remove(filePath());
    else
        write(unseen);
}
