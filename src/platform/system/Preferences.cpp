#include "platform/system/Preferences.h"

#include <cerrno>
#include <fcntl.h>
#include <utility>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

#include "common/Text.h"
#include "platform/system/FileLock.h"

namespace {

constexpr int kLockWaitMs = 10'000;
const QString kLockSuffix = QStringLiteral(".lock");
constexpr int kMaxLinks = 16;
const QString kOutput = QStringLiteral("OUTPUT");
// Marks bytes, which JSON has no type for.
const QString kBytesMark = QStringLiteral("base64");

bool isEmpty(const QVariant &value) {
    switch (value.typeId()) {
        case QMetaType::UnknownType:
            return true;
        case QMetaType::QString:
            return value.toString().isNull();
        case QMetaType::QByteArray:
            return value.toByteArray().isNull();
        default:
            return false;
    }
}

QJsonValue toJson(const QVariant &value) {
    if (value.typeId() != QMetaType::QByteArray)
        return QJsonValue::fromVariant(value);
    return QJsonObject{{kBytesMark, QString::fromLatin1(value.toByteArray().toBase64())}};
}

QVariant fromJson(const QJsonValue &json) {
    const QJsonObject object = json.toObject();
    if (object.size() != 1 || !object.contains(kBytesMark))
        return json.isNull() ? QVariant() : json.toVariant();
    const QByteArray bytes = QByteArray::fromBase64(object.value(kBytesMark).toString().toLatin1());
    return bytes.isNull() ? QByteArray("") : bytes;
}

// Where the file really lies, so that a link to it stays a link.
QString linkTarget(QString path) {
    for (int i = 0; i < kMaxLinks && QFileInfo(path).isSymLink(); ++i)
        path = QFileInfo(path).symLinkTarget();
    return path;
}

Error failure(const char *key, const QString &path, int code, const QString &reason) {
    return Error::errorWithPOSIXCode(code ? code : EIO,
                                     {{kOutput, localizedText(key, path, reason)}});
}

Error failure(const char *key, const QString &path, int code) {
    return failure(key, path, code, qt_error_string(code));
}

std::optional<Error> makeFolder(const QString &folder) {
    if (QFileInfo(folder).isDir())
        return std::nullopt;
    const QFileInfo info(folder);
    errno = 0;
    const bool made = QDir().mkpath(info.path()) &&
                      QDir(info.path())
                          .mkdir(info.fileName(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                      QFileDevice::ExeOwner);
    if (made || QFileInfo(folder).isDir())
        return std::nullopt;
    return failure("Preferences_2", folder, errno);
}

// From reading for a change to having written it.
std::optional<Error> takeLock(FileLock &lock, const QString &path) {
    if (std::optional<Error> error = makeFolder(QFileInfo(path).path()))
        return error;
    const int reason = lock.take(kLockWaitMs);
    return reason ? std::optional(failure("Preferences_2", path, reason)) : std::nullopt;
}

}  // namespace

Preferences &Preferences::standard() {
    static Preferences preferences(
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
        QStringLiteral("/velmoradisk/preferences.json"));
    return preferences;
}

Preferences::Preferences(const QString &path) : path(linkTarget(path)) {}

QVariant Preferences::value(const QString &key) {
    if (!loaded)
        reload();
    const auto change = changed.constFind(key);
    return fromJson(change != changed.constEnd() ? *change : stored.value(key));
}

void Preferences::setValue(const QString &key, const QVariant &value) {
    changed.insert(key, isEmpty(value) ? QJsonValue(QJsonValue::Undefined) : toJson(value));
}

void Preferences::remove(const QString &key) {
    setValue(key, {});
}

bool Preferences::synchronize(ErrorOut error) {
    if (std::optional<Error> failed = changed.isEmpty() ? reload() : applyChanges()) {
        setError(error, *failed);
        return false;
    }
    if (error)
        *error = std::exchange(notice, std::nullopt);
    return true;
}

std::optional<Error> Preferences::reload() {
    loaded = true;
    Contents contents = read();
    if (contents.damaged) {
        FileLock lock(path + kLockSuffix);
        contents.error = takeLock(lock, path);
        if (!contents.error)
            contents = readUndamaged();
    }
    stored = contents.object;
    return contents.error;
}

std::optional<Error> Preferences::applyChanges() {
    FileLock lock(path + kLockSuffix);
    if (std::optional<Error> error = takeLock(lock, path))
        return error;
    const Contents contents = readUndamaged();
    if (contents.error)
        return contents.error;

    loaded = true;
    stored = contents.object;
    QJsonObject object = stored;
    for (auto change = changed.cbegin(); change != changed.cend(); ++change)
        object.insert(change.key(), change.value());
    if (object != stored) {
        if (std::optional<Error> error = write(object))
            return error;
    }
    stored = object;
    changed.clear();
    return std::nullopt;
}

Preferences::Contents Preferences::read() const {
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0 && errno == ENOENT)
        return {};
    if (descriptor < 0)
        return {.error = failure("Preferences_1", path, errno)};

    QFile file;
    QByteArray bytes;
    if (file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return {.error = failure("Preferences_1", path, EIO, file.errorString())};

    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    return {.damaged = !document.isObject(), .object = document.object()};
}

Preferences::Contents Preferences::readUndamaged() {
    Contents contents = read();
    if (!contents.damaged)
        return contents;

    const QString stamp =
        path + QStringLiteral(".damaged-") +
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddHHmmss"));
    QString other = stamp;
    for (int i = 1; QFileInfo::exists(other); ++i)
        other = QStringLiteral("%1-%2").arg(stamp).arg(i);
    QFile file(path);
    if (!file.rename(other))
        return {.error = failure("Preferences_1", path, EIO, file.errorString())};

    notice = Error{kErrorDomain,
                   kDamagedFileSetAside,
                   {{kOutput, localizedText("Preferences_0", other, path)}}};
    return {};
}

std::optional<Error> Preferences::write(const QJsonObject &object) const {
    const QByteArray bytes = QJsonDocument(object).toJson();
    QSaveFile file(path);
    // commit() alone doesn't notice that what it still had to write found no space.
    if (file.open(QIODevice::WriteOnly) &&
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
        file.write(bytes) == bytes.size() && file.flush() && file.commit())
        return std::nullopt;
    return failure("Preferences_2", path, EIO, file.errorString());
}
