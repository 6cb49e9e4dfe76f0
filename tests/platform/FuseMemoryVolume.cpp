#include "FuseMemoryVolume.h"

#include <algorithm>
#include <fcntl.h>
#include <thread>

#include <QDateTime>

namespace {

bool isBelow(const QString &path, const QString &folder) {
    return path.startsWith(folder.endsWith(u'/') ? folder : folder + u'/');
}

}  // namespace

void FuseMemoryVolume::addFolder(const QString &path) {
    const std::lock_guard guard(mutex);
    items[path] = Item{.isFolder = true};
}

void FuseMemoryVolume::addFile(const QString &path, const QByteArray &content,
                               const QDateTime &modified) {
    const std::lock_guard guard(mutex);
    items[path] = Item{.content = content, .modified = modified};
}

void FuseMemoryVolume::addName(const QString &folder, const QString &name) {
    const std::lock_guard guard(mutex);
    oddNames[folder].append(name);
}

void FuseMemoryVolume::setMode(const QString &path, uint mode) {
    const std::lock_guard guard(mutex);
    items[path].mode = mode;
}

void FuseMemoryVolume::fail(const QString &path, const std::optional<Error> &error) {
    const std::lock_guard guard(mutex);
    failures[path] = error;
}

void FuseMemoryVolume::setFigures(const AttributeMap &newFigures) {
    const std::lock_guard guard(mutex);
    figures = newFigures;
}

QStringList FuseMemoryVolume::calls() const {
    const std::lock_guard guard(mutex);
    return QStringList(recorded.begin(), recorded.end());
}

qsizetype FuseMemoryVolume::callCount(const QString &call) const {
    return calls().count(call);
}

void FuseMemoryVolume::forgetCalls() {
    const std::lock_guard guard(mutex);
    recorded.clear();
}

std::optional<QByteArray> FuseMemoryVolume::content(const QString &path) const {
    const std::lock_guard guard(mutex);
    const auto found = items.find(path);
    if (found == items.end())
        return std::nullopt;
    return QByteArray(found->second.content.constData(), found->second.content.size());
}

AttributeMap FuseMemoryVolume::setAttributesOf(const QString &path) const {
    const std::lock_guard guard(mutex);
    const auto found = items.find(path);
    return found == items.end() ? AttributeMap() : found->second.attributesSet;
}

void FuseMemoryVolume::record(const QString &operation, const QString &path) {
    const std::lock_guard guard(mutex);
    recorded.push_back(path.isEmpty() ? operation : operation + u' ' + path);
}

bool FuseMemoryVolume::fails(const QString &path, ErrorOut error) const {
    const auto found = failures.find(path);
    if (found == failures.end())
        return false;
    if (*found)
        setError(error, **found);
    return true;
}

FuseMemoryVolume::Item *FuseMemoryVolume::item(const QString &path, ErrorOut error) {
    if (fails(path, error))
        return nullptr;
    const auto found = items.find(path);
    if (found != items.end())
        return &found->second;
    setError(error, Error::errorWithPOSIXCode(ENOENT));
    return nullptr;
}

std::optional<QStringList> FuseMemoryVolume::contentsOfDirectoryAtPath(const QString &path,
                                                                       ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("list"), path);
    if (!item(path, error))
        return std::nullopt;
    QStringList names = oddNames.value(path);
    for (const auto &[other, unused] : items) {
        const QString name = other.section(u'/', -1);
        if (other != path && isBelow(other, path) &&
            other.size() == (path == u"/" ? 0 : path.size()) + 1 + name.size())
            names.append(name);
    }
    return names;
}

std::optional<bool> FuseMemoryVolume::isKnownDirectory(const QString &path) {
    const std::lock_guard guard(mutex);
    const auto found = items.find(path);
    if (!tellsTypes || found == items.end())
        return std::nullopt;
    return found->second.isFolder;
}

std::shared_ptr<AttributeMap> FuseMemoryVolume::attributesOfItemAtPath(const QString &path,
                                                                       const HandlePtr &,
                                                                       ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("attributes"), path);
    const Item *found = item(path, error);
    if (!found)
        return nullptr;
    auto attributes = std::make_shared<AttributeMap>();
    attributes->insert(NSFileType, found->isFolder ? NSFileTypeDirectory : NSFileTypeRegular);
    if (!found->isFolder)
        attributes->insert(NSFileSize, QString::number(found->shown().size()));
    if (found->modified.isValid())
        attributes->insert(NSFileModificationDate, found->modified);
    if (found->mode)
        attributes->insert(NSFilePosixPermissions, *found->mode);
    return attributes;
}

AttributeMap FuseMemoryVolume::attributesOfFileSystemForPath(const QString &path, ErrorOut) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("figures"), path);
    return figures;
}

std::optional<QByteArray> FuseMemoryVolume::valueOfExtendedAttribute(const QString &name,
                                                                     const QString &, qint64,
                                                                     ErrorOut error) {
    if (name == u"user.absent")
        return std::nullopt;
    if (name == u"user.present")
        return QByteArray("value");
    setError(error, Error::errorWithPOSIXCode(EOPNOTSUPP));
    return std::nullopt;
}

bool FuseMemoryVolume::openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                                      ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("open"), path);
    if (!item(path, error))
        return false;
    auto handle = std::make_shared<Handle>();
    handle->mode = mode;
    *userData = handle;
    return true;
}

int FuseMemoryVolume::readFileAtPath(const QString &path, const HandlePtr &, char *buffer,
                                     size_t size, qint64 offset, ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("read"), path);
    const Item *found = item(path, error);
    if (!found)
        return -1;
    const QByteArray part = found->shown().mid(offset, qsizetype(std::min(size, readLimit.load())));
    std::copy(part.begin(), part.end(), buffer);
    return int(part.size());
}

void FuseMemoryVolume::releaseFileAtPath(const QString &path, const HandlePtr &) {
    std::this_thread::sleep_for(releaseTime.load());
    record(QStringLiteral("release"), path);
}

bool FuseWritableVolume::createFileAtPath(const QString &path, const AttributeMap &attributes, int,
                                          HandlePtr *userData, ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("create"), path);
    if (fails(path, error))
        return false;
    Item &created = items[path];
    created = Item{.modified = QDateTime::currentDateTimeUtc(),
                   .mode = attributes.value(NSFilePosixPermissions).toUInt(),
                   .local = QByteArray()};
    auto handle = std::make_shared<Handle>();
    handle->mode = O_RDWR;
    handle->changed = true;
    *userData = handle;
    return true;
}

int FuseWritableVolume::writeFileAtPath(const QString &path, const HandlePtr &userData,
                                        const char *buffer, size_t size, qint64 offset,
                                        ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("write"), path);
    Item *found = item(path, error);
    const auto handle = std::static_pointer_cast<Handle>(userData);
    if (!found || !handle || handle->mode == O_RDONLY) {
        setError(error, Error::errorWithPOSIXCode(EACCES));
        return -1;
    }
    handle->changed = true;
    if (!found->local)
        found->local = found->content;
    if (found->local->size() < offset + qint64(size))
        found->local->append(offset + qint64(size) - found->local->size(), '\0');
    found->local->replace(offset, qsizetype(size), QByteArray(buffer, qsizetype(size)));
    found->modified = QDateTime::currentDateTimeUtc();
    return int(size);
}

bool FuseWritableVolume::synchronizeFileAtPath(const QString &path, const HandlePtr &, ErrorOut) {
    record(QStringLiteral("synchronize"), path);
    return true;
}

void FuseWritableVolume::releaseFileAtPath(const QString &path, const HandlePtr &userData) {
    {
        const std::lock_guard guard(mutex);
        const auto found = items.find(path);
        if (found != items.end() && std::static_pointer_cast<Handle>(userData)->changed &&
            found->second.local)
            found->second.content = *std::exchange(found->second.local, std::nullopt);
    }
    FuseMemoryVolume::releaseFileAtPath(path, userData);
}

bool FuseWritableVolume::createDirectoryAtPath(const QString &path, const AttributeMap &,
                                               ErrorOut) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("mkdir"), path);
    addFolder(path);
    return true;
}

bool FuseWritableVolume::moveItemAtPath(const QString &path, const QString &toPath, ErrorOut) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("move"), path + u' ' + toPath);
    std::erase_if(items, [&](const auto &entry) {
        return entry.first == toPath || isBelow(entry.first, toPath);
    });
    std::map<QString, Item> moved;
    for (auto &[other, found] : items) {
        const bool moves = other == path || isBelow(other, path);
        moved.emplace(moves ? toPath + other.mid(path.size()) : other, found);
    }
    items = std::move(moved);
    return true;
}

bool FuseWritableVolume::removeItemAtPath(const QString &path, ErrorOut) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("remove"), path);
    std::erase_if(items, [&](const auto &entry) {
        return entry.first == path || isBelow(entry.first, path);
    });
    return true;
}

bool FuseWritableVolume::removeDirectoryAtPath(const QString &path, ErrorOut error) {
    return removeItemAtPath(path, error);
}

bool FuseWritableVolume::setAttributes(const AttributeMap &attributes, const QString &path,
                                       const HandlePtr &userData, ErrorOut error) {
    const std::lock_guard guard(mutex);
    record(QStringLiteral("set"), path);
    Item *found = item(path, error);
    if (!found)
        return false;
    found->attributesSet = attributes;
    if (attributes.contains(NSFilePosixPermissions))
        found->mode = attributes[NSFilePosixPermissions].toUInt();
    if (attributes.contains(NSFileModificationDate))
        found->modified = attributes[NSFileModificationDate].toDateTime();
    const auto handle = std::static_pointer_cast<Handle>(userData);
    if (attributes.contains(NSFileSize) && handle && handle->changed)
        found->local->resize(attributes[NSFileSize].toLongLong(), '\0');
    return true;
}
