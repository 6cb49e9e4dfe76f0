#pragma once

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include <QDateTime>

#include "platform/fuse/GMUserFileSystemDelegate.h"

// A volume in memory that records what it is asked. Read-only; its content can be changed under a
// running host, as a server's is.
class FuseMemoryVolume : public GMUserFileSystemDelegate {
  public:
    void addFolder(const QString &path) {
        const std::lock_guard guard(mutex);
        items[path] = std::make_shared<Item>(Item{.isFolder = true});
    }
    void addFile(const QString &path, const QByteArray &content,
                 const QDateTime &modified = QDateTime::fromSecsSinceEpoch(1'600'000'000, Qt::UTC),
                 std::optional<uint> mode = {}) {
        const std::lock_guard guard(mutex);
        ItemPtr &file = items[path];
        if (!file)
            file = std::make_shared<Item>();
        *file = Item{.content = content, .modified = modified, .mode = mode};
    }
    // A name in the root's listing that need not be one.
    void addName(const QString &name) {
        const std::lock_guard guard(mutex);
        oddNames.append(name);
    }
    // From now on every operation on the path fails. Without an error it fails and says nothing.
    void fail(const QString &path, const std::optional<Error> &error) {
        const std::lock_guard guard(mutex);
        failures[path] = error;
    }

    // The recorded operations, "read /a", in order.
    QStringList calls() const {
        const std::lock_guard guard(mutex);
        return QStringList(recorded.begin(), recorded.end());
    }
    qsizetype callCount(const QString &call) const { return calls().count(call); }
    std::optional<QByteArray> content(const QString &path) const {
        const std::lock_guard guard(mutex);
        const auto found = items.find(path);
        if (found == items.end())
            return std::nullopt;
        const QByteArray &content = found->second->content;
        return QByteArray(content.constData(), content.size());
    }

    std::atomic<bool> tellsFigures = false;
    // A read gives at most so many bytes.
    std::atomic<size_t> readLimit = SIZE_MAX;
    std::atomic<std::chrono::milliseconds> releaseTime{};
    std::function<void(const QString &path)> inAttributes = [](const QString &) {};

    void willMount() override { record("willMount"); }
    void willUnmount() override { record("willUnmount"); }

    std::optional<QStringList> contentsOfDirectoryAtPath(const QString &path,
                                                         ErrorOut error) override {
        const std::lock_guard guard(mutex);
        record("list", path);
        if (!item(path, error))
            return std::nullopt;
        const QString folder = path == u"/" ? QString() : path;
        QStringList names = folder.isEmpty() ? oddNames : QStringList();
        for (const auto &[other, unused] : items) {
            if (other != u"/" && other.left(other.lastIndexOf(u'/')) == folder)
                names.append(other.section(u'/', -1));
        }
        return names;
    }

    std::optional<bool> isKnownDirectory(const QString &path) override {
        const std::lock_guard guard(mutex);
        const auto found = items.find(path);
        return found == items.end() ? std::nullopt : std::optional(found->second->isFolder);
    }

    std::shared_ptr<AttributeMap> attributesOfItemAtPath(const QString &path,
                                                         const HandlePtr &userData,
                                                         ErrorOut error) override {
        inAttributes(path);
        const std::lock_guard guard(mutex);
        record("attributes", path);
        const ItemPtr found = item(path, error, userData);
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

    AttributeMap attributesOfFileSystemForPath(const QString &, ErrorOut) override {
        if (!tellsFigures)
            return {};
        return {{NSFileSystemSize, 8192000}, {NSFileSystemFreeSize, 4096000}};
    }

    std::optional<QByteArray> valueOfExtendedAttribute(const QString &name, const QString &, qint64,
                                                       ErrorOut) override {
        return name == u"user.present" ? std::optional<QByteArray>("value") : std::nullopt;
    }

    bool openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                        ErrorOut error) override {
        const std::lock_guard guard(mutex);
        record("open", path);
        const ItemPtr found = item(path, error);
        if (!found)
            return false;
        *userData = std::make_shared<Handle>(found, mode & O_ACCMODE);
        return true;
    }

    int readFileAtPath(const QString &path, const HandlePtr &userData, char *buffer, size_t size,
                       qint64 offset, ErrorOut error) override {
        const std::lock_guard guard(mutex);
        record("read", path);
        const ItemPtr found = item(path, error, userData);
        if (!found)
            return -1;
        const auto most = qsizetype(std::min(size, readLimit.load()));
        const QByteArray part = found->shown().mid(offset, most);
        std::copy(part.begin(), part.end(), buffer);
        return int(part.size());
    }

    void releaseFileAtPath(const QString &path, const HandlePtr &) override {
        std::this_thread::sleep_for(releaseTime.load());
        record("release", path);
    }

  protected:
    struct Item {
        bool isFolder = false;
        QByteArray content = {};
        QDateTime modified = {};
        std::optional<uint> mode = {};
        // Written to but not released: what the volume shows instead of the content.
        std::optional<QByteArray> local = {};

        const QByteArray &shown() const { return local ? *local : content; }
    };
    using ItemPtr = std::shared_ptr<Item>;
    struct Handle : HandleData {
        explicit Handle(ItemPtr item, int mode, bool changed = false)
            : item(std::move(item)), mode(mode), changed(changed) {}
        const ItemPtr item;
        const int mode;
        bool changed;
    };

    void record(const QString &operation, const QString &path = {}) {
        const std::lock_guard guard(mutex);
        recorded.push_back(path.isEmpty() ? operation : operation + u' ' + path);
    }

    // That of the handle, if there is one, whatever has become of its path.
    ItemPtr item(const QString &path, ErrorOut error, const HandlePtr &userData = nullptr) {
        if (const auto failure = failures.find(path); failure != failures.end()) {
            if (*failure)
                setError(error, **failure);
            return nullptr;
        }
        if (userData)
            return std::static_pointer_cast<Handle>(userData)->item;
        const auto found = items.find(path);
        if (found == items.end())
            setError(error, Error::errorWithPOSIXCode(ENOENT));
        return found == items.end() ? nullptr : found->second;
    }

    mutable std::recursive_mutex mutex;
    std::map<QString, ItemPtr> items{{"/", std::make_shared<Item>(Item{.isFolder = true})}};

  private:
    QStringList oddNames;
    QMap<QString, std::optional<Error>> failures;
    // Not a QStringList: a copy of one shares its memory with the tests' thread.
    std::vector<QString> recorded;
};

// The same, writable. As with a server, what a handle writes is kept aside until its release, and a
// change of size alone doesn't make it worth keeping.
class FuseWritableVolume : public FuseMemoryVolume {
  public:
    std::function<void(const QString &path)> beforeCreate = [](const QString &) {};

    bool createFileAtPath(const QString &path, const AttributeMap &attributes, int,
                          HandlePtr *userData, ErrorOut error) override {
        beforeCreate(path);
        const std::lock_guard guard(mutex);
        record("create", path);
        if (items.contains(path)) {
            setError(error, Error::errorWithPOSIXCode(EEXIST));
            return false;
        }
        items[path] =
            std::make_shared<Item>(Item{.modified = QDateTime::currentDateTimeUtc(),
                                        .mode = attributes.value(NSFilePosixPermissions).toUInt(),
                                        .local = QByteArray()});
        *userData = std::make_shared<Handle>(items[path], O_RDWR, true);
        return true;
    }

    int writeFileAtPath(const QString &path, const HandlePtr &userData, const char *buffer,
                        size_t size, qint64 offset, ErrorOut error) override {
        const std::lock_guard guard(mutex);
        record("write", path);
        const ItemPtr found = item(path, error, userData);
        const auto handle = std::static_pointer_cast<Handle>(userData);
        if (!found || !handle || handle->mode == O_RDONLY) {
            setError(error, Error::errorWithPOSIXCode(EACCES));
            return -1;
        }
        handle->changed = true;
        QByteArray bytes = found->shown();
        if (bytes.size() < offset + qint64(size))
            bytes.resize(offset + qint64(size), '\0');
        found->local = bytes.replace(offset, qsizetype(size), QByteArray(buffer, qsizetype(size)));
        found->modified = QDateTime::currentDateTimeUtc();
        return int(size);
    }

    bool synchronizeFileAtPath(const QString &path, const HandlePtr &, ErrorOut) override {
        record("synchronize", path);
        return true;
    }

    void releaseFileAtPath(const QString &path, const HandlePtr &userData) override {
        {
            const std::lock_guard guard(mutex);
            const auto handle = std::static_pointer_cast<Handle>(userData);
            if (handle->changed && handle->item->local)
                handle->item->content = *std::exchange(handle->item->local, std::nullopt);
        }
        FuseMemoryVolume::releaseFileAtPath(path, userData);
    }

    bool createDirectoryAtPath(const QString &path, const AttributeMap &, ErrorOut) override {
        addFolder(path);
        return true;
    }

    bool moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error) override {
        const std::lock_guard guard(mutex);
        if (!removeDirectoryAtPath(toPath, error))
            return false;
        std::map<QString, ItemPtr> moved;
        for (const auto &[other, found] : items)
            moved.emplace(isIn(path, other) ? toPath + other.mid(path.size()) : other, found);
        items = std::move(moved);
        return true;
    }

    bool exchangeDataOfItemAtPath(const QString &path, const QString &withItemAtPath,
                                  ErrorOut) override {
        const std::lock_guard guard(mutex);
        std::swap(items[path], items[withItemAtPath]);
        return true;
    }

    bool removeItemAtPath(const QString &path, ErrorOut) override {
        const std::lock_guard guard(mutex);
        std::erase_if(items, [&](const auto &entry) { return isIn(path, entry.first); });
        return true;
    }
    bool removeDirectoryAtPath(const QString &path, ErrorOut error) override {
        const std::lock_guard guard(mutex);
        const auto isInside = [&](const auto &entry) {
            return entry.first != path && isIn(path, entry.first);
        };
        if (std::any_of(items.begin(), items.end(), isInside)) {
            setError(error, Error::errorWithPOSIXCode(ENOTEMPTY));
            return false;
        }
        return removeItemAtPath(path, error);
    }

    bool setAttributes(const AttributeMap &attributes, const QString &path,
                       const HandlePtr &userData, ErrorOut error) override {
        const std::lock_guard guard(mutex);
        if (attributes.contains(NSFileSize))
            record("resize", path);
        const ItemPtr found = item(path, error, userData);
        if (!found)
            return false;
        if (attributes.contains(NSFilePosixPermissions))
            found->mode = attributes[NSFilePosixPermissions].toUInt();
        if (attributes.contains(NSFileModificationDate))
            found->modified = attributes[NSFileModificationDate].toDateTime();
        if (attributes.contains(NSFileSize) && userData) {
            QByteArray bytes = found->shown();
            bytes.resize(attributes[NSFileSize].toLongLong(), '\0');
            found->local = bytes;
        }
        return true;
    }

  private:
    // Whether it is that item or lies below it.
    static bool isIn(const QString &item, const QString &path) {
        return path == item || path.startsWith(item + u'/');
    }
};
