#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <vector>

#include <QDateTime>

#include "platform/fuse/GMUserFileSystemDelegate.h"

// A volume in memory that records what it is asked. Read-only; its content can be changed under a
// running host, as a server's is.
class FuseMemoryVolume : public GMUserFileSystemDelegate {
  public:
    void addFolder(const QString &path);
    void addFile(const QString &path, const QByteArray &content,
                 const QDateTime &modified = QDateTime::fromSecsSinceEpoch(1'600'000'000, Qt::UTC));
    // A name of a listing that need not be one.
    void addName(const QString &folder, const QString &name);
    void setMode(const QString &path, uint mode);
    // From now on every operation on the path fails. Without an error it fails and says nothing.
    void fail(const QString &path, const std::optional<Error> &error);
    void setFigures(const AttributeMap &figures);

    // The recorded operations, "read /a", in order.
    QStringList calls() const;
    qsizetype callCount(const QString &call) const;
    void forgetCalls();
    std::optional<QByteArray> content(const QString &path) const;
    AttributeMap setAttributesOf(const QString &path) const;

    std::atomic<bool> tellsTypes = true;
    // A read gives at most so many bytes.
    std::atomic<size_t> readLimit = SIZE_MAX;
    std::atomic<std::chrono::milliseconds> releaseTime{};

    void willMount() override { record(QStringLiteral("willMount"), {}); }
    void willUnmount() override { record(QStringLiteral("willUnmount"), {}); }
    std::optional<QStringList> contentsOfDirectoryAtPath(const QString &path,
                                                         ErrorOut error) override;
    std::optional<bool> isKnownDirectory(const QString &path) override;
    std::shared_ptr<AttributeMap> attributesOfItemAtPath(const QString &path,
                                                         const HandlePtr &userData,
                                                         ErrorOut error) override;
    AttributeMap attributesOfFileSystemForPath(const QString &path, ErrorOut error) override;
    std::optional<QByteArray> valueOfExtendedAttribute(const QString &name,
                                                       const QString &ofItemAtPath, qint64 position,
                                                       ErrorOut error) override;
    bool openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                        ErrorOut error) override;
    int readFileAtPath(const QString &path, const HandlePtr &userData, char *buffer, size_t size,
                       qint64 offset, ErrorOut error) override;
    void releaseFileAtPath(const QString &path, const HandlePtr &userData) override;

  protected:
    struct Item {
        bool isFolder = false;
        QByteArray content = {};
        QDateTime modified = {};
        std::optional<uint> mode = {};
        // Written to but not released: what the volume shows instead of the content.
        std::optional<QByteArray> local = {};
        AttributeMap attributesSet = {};

        const QByteArray &shown() const { return local ? *local : content; }
    };
    struct Handle : HandleData {
        int mode = 0;
        bool changed = false;
    };

    void record(const QString &operation, const QString &path);
    bool fails(const QString &path, ErrorOut error) const;
    Item *item(const QString &path, ErrorOut error);

    mutable std::recursive_mutex mutex;
    std::map<QString, Item> items{{QStringLiteral("/"), Item{.isFolder = true}}};

  private:
    QMap<QString, QStringList> oddNames;
    QMap<QString, std::optional<Error>> failures;
    AttributeMap figures;
    // Not a QStringList: a copy of one shares its memory with the tests' thread.
    std::vector<QString> recorded;
};

// The same, writable. As with a server, what a handle writes is kept aside until its release, and a
// change of size alone doesn't make it worth keeping.
class FuseWritableVolume : public FuseMemoryVolume {
  public:
    bool createFileAtPath(const QString &path, const AttributeMap &attributes, int flags,
                          HandlePtr *userData, ErrorOut error) override;
    int writeFileAtPath(const QString &path, const HandlePtr &userData, const char *buffer,
                        size_t size, qint64 offset, ErrorOut error) override;
    bool synchronizeFileAtPath(const QString &path, const HandlePtr &userData,
                               ErrorOut error) override;
    void releaseFileAtPath(const QString &path, const HandlePtr &userData) override;
    bool createDirectoryAtPath(const QString &path, const AttributeMap &attributes,
                               ErrorOut error) override;
    bool moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error) override;
    bool removeItemAtPath(const QString &path, ErrorOut error) override;
    bool removeDirectoryAtPath(const QString &path, ErrorOut error) override;
    bool setAttributes(const AttributeMap &attributes, const QString &ofItemAtPath,
                       const HandlePtr &userData, ErrorOut error) override;
};
