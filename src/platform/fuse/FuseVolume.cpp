#include "platform/fuse/FuseVolume.h"

#include <exception>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

#include <QFile>

#include "common/Log.h"
#include "platform/fuse/HostErrno.h"
#include "platform/fuse/HostNames.h"

namespace {

// umask(2) can only be read by changing it for all threads.
mode_t processUmask() {
    constexpr mode_t kUsual = 022;
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return kUsual;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("Umask:"))
            return mode_t(line.mid(6).trimmed().toUInt(nullptr, 8));
    }
    return kUsual;
}

FuseVolume *currentVolume() {
    return static_cast<FuseVolume *>(fuse_get_context()->private_data);
}

// The C function for an operation of the volume.
template <auto kOperation>
struct Entry;

template <typename... Args, int (FuseVolume::*kOperation)(Args...)>
struct Entry<kOperation> {
    static int call(Args... args) {
        try {
            return (currentVolume()->*kOperation)(args...);
        } catch (const std::exception &failure) {
            VDLog(QString::fromLocal8Bit(failure.what()));
            return -EIO;
        }
    }
};

ssize_t readRequest(int connection, void *buffer, size_t size, void *) {
    return ::read(connection, buffer, size);
}

void *initialise(fuse_conn_info *connection, fuse_config *config) {
    return currentVolume()->init(connection, config);
}

// What stays out: flush, access, locks and the like, which the kernel then does by
// itself or refuses in the way programs expect.
fuse_operations makeOperations() {
    fuse_operations table{};
    table.init = initialise;
    table.getattr = Entry<&FuseVolume::getattr>::call;
    table.opendir = Entry<&FuseVolume::opendir>::call;
    table.readdir = Entry<&FuseVolume::readdir>::call;
    table.releasedir = Entry<&FuseVolume::release>::call;
    table.statfs = Entry<&FuseVolume::statfs>::call;
    table.getxattr = Entry<&FuseVolume::getxattr>::call;
    table.listxattr = Entry<&FuseVolume::listxattr>::call;
    table.setxattr = Entry<&FuseVolume::setxattr>::call;
    table.removexattr = Entry<&FuseVolume::removexattr>::call;
    table.open = Entry<&FuseVolume::open>::call;
    table.create = Entry<&FuseVolume::create>::call;
    table.read = Entry<&FuseVolume::read>::call;
    table.write = Entry<&FuseVolume::write>::call;
    table.truncate = Entry<&FuseVolume::truncate>::call;
    table.fallocate = Entry<&FuseVolume::fallocate>::call;
    table.fsync = Entry<&FuseVolume::fsync>::call;
    table.release = Entry<&FuseVolume::release>::call;
    table.mkdir = Entry<&FuseVolume::mkdir>::call;
    table.unlink = Entry<&FuseVolume::unlink>::call;
    table.rmdir = Entry<&FuseVolume::rmdir>::call;
    table.rename = Entry<&FuseVolume::rename>::call;
    table.mknod = Entry<&FuseVolume::mknod>::call;
    table.symlink = Entry<&FuseVolume::symlink>::call;
    table.link = Entry<&FuseVolume::link>::call;
    table.chmod = Entry<&FuseVolume::chmod>::call;
    table.chown = Entry<&FuseVolume::chown>::call;
    table.utimens = Entry<&FuseVolume::utimens>::call;
    return table;
}

}  // namespace

FuseVolume::FuseVolume(std::shared_ptr<GMUserFileSystemDelegate> delegate, MountOptions options)
    : delegate(std::move(delegate)),
      options(std::move(options)),
      defaultMode(0777 & ~processUmask()) {}

const fuse_operations &FuseVolume::operations() {
    static const fuse_operations table = makeOperations();
    return table;
}

const fuse_custom_io &FuseVolume::connectionIo() {
    static const fuse_custom_io io = {
        .writev = [](int connection, iovec *parts, int count, void *) -> ssize_t {
            if (FuseVolume *volume = currentVolume())
                volume->nodes.noteAnswer(parts, count);
            return ::writev(connection, parts, count);
        },
        .read = readRequest,
        .splice_receive = nullptr,
        .splice_send = nullptr,
    };
    return io;
}

void *FuseVolume::init(fuse_conn_info *connection, fuse_config *itsConfig) {
    config = itsConfig;
    // A listing with attributes would cost the delegate one request a name.
    connection->want &= ~unsigned(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
    // Requests are small but for writes; reading them through a pipe costs more than the copy.
    connection->want &= ~unsigned(FUSE_CAP_SPLICE_READ);

    // What is removed while it is open is the delegate's: under libfuse's substitute names others
    // would see it, and its folder could not be removed. A handle knows its path.
    config->hard_remove = 1;
    config->nullpath_ok = 1;
    config->use_ino = 1;
    config->entry_timeout = options.entryTimeout;
    config->negative_timeout = options.negativeTimeout;
    config->attr_timeout = options.attrTimeout;
    // Cached pages outlive an open only while size and date stay those they were read under.
    config->auto_cache = 1;
    config->ac_attr_timeout_set = 1;
    config->ac_attr_timeout = options.acAttrTimeout;
    ready = true;
    return this;
}

const FuseVolume::Item *FuseVolume::handleOf(const fuse_file_info *info) const {
    const auto found = info ? handles.find(info->fh) : handles.end();
    return found == handles.end() ? nullptr : &found->second;
}

int FuseVolume::itemOf(const char *kernelPath, const fuse_file_info *info, Item *item) const {
    if (const Item *handle = handleOf(info)) {
        *item = *handle;
        return 0;
    }
    return kernelPath ? pathFromKernel(kernelPath, &item->path) : EBADF;
}

void FuseVolume::keepHandle(Item item, fuse_file_info *info) {
    info->fh = ++lastHandle;
    nodes.open(info->fh);
    handles.emplace(info->fh, std::move(item));
}

void FuseVolume::releaseOpenHandles() {
    for (const auto &[number, handle] : std::exchange(handles, {})) {
        if (!handle.isFolder)
            delegate->releaseFileAtPath(handle.path, handle.data);
    }
}
