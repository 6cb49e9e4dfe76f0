#pragma once

#include <memory>
#include <optional>

#include <QStringList>

#include "common/Error.h"
#include "platform/fuse/FileAttributes.h"

// What a delegate keeps for an open handle; the host only carries it.
struct HandleData {
    virtual ~HandleData() = default;
};
using HandlePtr = std::shared_ptr<HandleData>;

// The volume behind a host. Paths are relative to the mount, begin with "/" and are in composed
// form. Operations come one at a time on the host's thread; each reports errors of kPosixDomain,
// and the host maps errors of any other domain. Operations that change the volume and are not
// overridden answer EROFS.
class GMUserFileSystemDelegate {
  public:
    virtual ~GMUserFileSystemDelegate() = default;

    virtual void willMount() {}
    // Told once, when the end of the volume is certain, whoever unmounted it. Releases of handles
    // that are still open follow.
    virtual void willUnmount() {}
    // The volume was detached and nobody waits for what is being read any more. From any thread,
    // while an operation may be under way.
    virtual void stopReading() {}

    // The names in a folder, or nothing on failure.
    virtual std::optional<QStringList> contentsOfDirectoryAtPath(const QString &path,
                                                                 ErrorOut error) = 0;
    // Whether the last listing of the parent told the item to be a folder; nothing where it did not
    // say. Never asks a server: it only spares the kernel a question.
    virtual std::optional<bool> isKnownDirectory(const QString &path);
    // Attributes, or null on failure. Null with no error set counts as EIO.
    virtual std::shared_ptr<AttributeMap> attributesOfItemAtPath(const QString &path,
                                                                 const HandlePtr &userData,
                                                                 ErrorOut error) = 0;
    virtual AttributeMap attributesOfFileSystemForPath(const QString &path, ErrorOut error) = 0;
    virtual std::optional<QByteArray> valueOfExtendedAttribute(const QString &name,
                                                               const QString &ofItemAtPath,
                                                               qint64 position, ErrorOut error) = 0;

    // mode: the flags of open(2). The low two bits tell what the handle is for. With O_TRUNC the
    // host sets the size to 0 right after, so the old content need not be at hand.
    virtual bool openFileAtPath(const QString &path, int mode, HandlePtr *userData,
                                ErrorOut error) = 0;
    // Bytes read, 0 at the end of the file, -1 on failure.
    virtual int readFileAtPath(const QString &path, const HandlePtr &userData, char *buffer,
                               size_t size, qint64 offset, ErrorOut error) = 0;
    virtual void releaseFileAtPath(const QString &path, const HandlePtr &userData) = 0;
    // Whether the last release left another content than was written: what the kernel keeps of the
    // file is wrong then.
    virtual bool tookBackWrites() const { return false; }

    virtual bool createFileAtPath(const QString &path, const AttributeMap &attributes, int flags,
                                  HandlePtr *userData, ErrorOut error);
    virtual int writeFileAtPath(const QString &path, const HandlePtr &userData, const char *buffer,
                                size_t size, qint64 offset, ErrorOut error);
    // fsync(2): brings what was written through the handle to the local disk. True unless
    // overridden.
    virtual bool synchronizeFileAtPath(const QString &path, const HandlePtr &userData,
                                       ErrorOut error);
    virtual bool createDirectoryAtPath(const QString &path, const AttributeMap &attributes,
                                       ErrorOut error);
    // A handle of an item that is replaced or removed keeps serving its content until its release:
    // it comes with the item's last path and its data, and that path may be another item's by then.
    // A folder that isn't empty is neither replaced nor removed, but answers ENOTEMPTY; what is in
    // it and not shown counts too. The host has asked for the attributes of toPath just before.
    virtual bool moveItemAtPath(const QString &path, const QString &toPath, ErrorOut error);
    // Two files change places. ENOTSUP unless overridden.
    virtual bool exchangeDataOfItemAtPath(const QString &path, const QString &withItemAtPath,
                                          ErrorOut error);
    virtual bool removeItemAtPath(const QString &path, ErrorOut error);
    virtual bool removeDirectoryAtPath(const QString &path, ErrorOut error);
    virtual bool setAttributes(const AttributeMap &attributes, const QString &ofItemAtPath,
                               const HandlePtr &userData, ErrorOut error);
};
