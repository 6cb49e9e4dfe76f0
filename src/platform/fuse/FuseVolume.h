#pragma once

#include <fuse.h>
#include <fuse_lowlevel.h>
#include <memory>
#include <optional>
#include <unordered_map>

#include <QSet>
#include <QString>

#include "platform/fuse/GMUserFileSystemDelegate.h"
#include "platform/fuse/MountOptions.h"
#include "platform/fuse/OpenNodes.h"

// What the kernel's requests become: names in composed form, POSIX semantics where the delegate has
// none, errors as errno. Everything runs on the host's thread.
//
// The mode of every item is all that the user's umask leaves, the right to execute included: only
// the mounting user gets in, a program on the volume shall run, and the server doesn't tell which
// files are programs.
class FuseVolume {
  public:
    FuseVolume(std::shared_ptr<GMUserFileSystemDelegate> delegate, MountOptions options);

    // The operations to register with libfuse; its private data is the volume.
    static const fuse_operations &operations();
    // How libfuse is to read and write on the connection.
    static const fuse_custom_io &connectionIo();

    // Whether the kernel and this volume have agreed on how to talk: from then on it answers.
    bool isReady() const { return ready; }
    // To be called with every request before libfuse gets it.
    void prepare(const fuse_buf &request) { nodes.prepare(request.mem, request.size); }
    // Gives the delegate back every handle whose release never came.
    void releaseOpenHandles();

    void *init(fuse_conn_info *connection, fuse_config *config);

    int getattr(const char *kernelPath, struct stat *status, fuse_file_info *info);
    int opendir(const char *kernelPath, fuse_file_info *info);
    int readdir(const char *kernelPath, void *buffer, fuse_fill_dir_t fill, off_t offset,
                fuse_file_info *info, fuse_readdir_flags flags);
    int statfs(const char *kernelPath, struct statvfs *status);
    int getxattr(const char *kernelPath, const char *name, char *value, size_t size);
    int listxattr(const char *kernelPath, char *list, size_t size);
    int setxattr(const char *kernelPath, const char *name, const char *value, size_t size,
                 int flags);
    int removexattr(const char *kernelPath, const char *name);

    int open(const char *kernelPath, fuse_file_info *info);
    int create(const char *kernelPath, mode_t mode, fuse_file_info *info);
    int read(const char *kernelPath, char *buffer, size_t size, off_t offset, fuse_file_info *info);
    int write(const char *kernelPath, const char *buffer, size_t size, off_t offset,
              fuse_file_info *info);
    int truncate(const char *kernelPath, off_t size, fuse_file_info *info);
    int fallocate(const char *kernelPath, int mode, off_t offset, off_t length,
                  fuse_file_info *info);
    int fsync(const char *kernelPath, int dataOnly, fuse_file_info *info);
    int release(const char *kernelPath, fuse_file_info *info);

    int mkdir(const char *kernelPath, mode_t mode);
    int unlink(const char *kernelPath);
    int rmdir(const char *kernelPath);
    int rename(const char *kernelFrom, const char *kernelTo, unsigned flags);
    int mknod(const char *kernelPath, mode_t mode, dev_t device);
    int symlink(const char *target, const char *kernelPath);
    int link(const char *kernelFrom, const char *kernelTo);
    int chmod(const char *kernelPath, mode_t mode, fuse_file_info *info);
    int chown(const char *kernelPath, uid_t user, gid_t group, fuse_file_info *info);
    int utimens(const char *kernelPath, const timespec times[2], fuse_file_info *info);

  private:
    // What a request is about. Of an open item the path follows renames made through the volume.
    struct Item {
        QString path = {};
        HandlePtr data = nullptr;
        bool isFolder = false;
        // Removed or replaced while it was open: the path may be another item's by now, and only
        // the data tells what this one is.
        bool isOrphan = false;
        bool isWritten = false;
    };

    // The handle's item if the request came with one, else the path's. 0 or an errno.
    int itemOf(const char *kernelPath, const fuse_file_info *info, Item *item) const;
    const Item *handleOf(const fuse_file_info *info) const;
    void keepHandle(Item item, fuse_file_info *info);

    // 0 or an errno; ENOENT for an item that isn't there, also in a folder that can't be written.
    int attributesOf(const Item &item, std::shared_ptr<AttributeMap> *attributes) const;
    void fillStatus(const Item &item, const AttributeMap &attributes, struct stat *status) const;
    bool isOpenForWriting(const QString &path) const;
    bool isUnfit(const QString &folder, const QString &name);

    int writeAt(const Item &item, const char *buffer, size_t size, off_t offset) const;
    int zero(const Item &item, off_t offset, off_t end) const;
    int openPath(const QString &path, fuse_file_info *info);
    // An open file gets the size, and its release takes it to the server: 0 or an errno.
    int resize(const Item &item, off_t size) const;
    int resizeByPath(const QString &path, off_t size) const;
    int endOf(const Item &item, off_t *end) const;

    int changeAttributes(const char *kernelPath, const AttributeMap &attributes,
                         const fuse_file_info *info) const;
    int checkReplaceable(const QString &from, const QString &to, unsigned flags) const;
    int exchange(const QString &from, const QString &to);
    void orphanHandles(const QString &path);
    void moveHandles(const QString &from, const QString &to);

    const std::shared_ptr<GMUserFileSystemDelegate> delegate;
    const MountOptions options;
    const mode_t defaultMode;
    bool ready = false;
    // libfuse's own, which it looks at with every answer.
    fuse_config *config = nullptr;
    // Files whose pages in the kernel never came to be the file's content.
    QSet<QString> wrongPages;
    std::unordered_map<uint64_t, Item> handles;
    uint64_t lastHandle = 0;
    OpenNodes nodes;
    // Names left out of a listing, so that each is logged once.
    QSet<QString> unfitPaths;
};
