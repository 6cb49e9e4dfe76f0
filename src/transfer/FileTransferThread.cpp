#include "transfer/FileTransferThread.h"

#include <pthread.h>

#include "common/VDCommonUtils.h"
#include "platform/net/RunLoop.h"
#include "webdav/ASWDCmd.h"
#include "webdav/VDWebDAVConnect.h"

FileTransferThread::~FileTransferThread() {
    // The thread itself may be the last owner.
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach();
    else
        wait();
}

void FileTransferThread::start(const QString &threadName) {
    thread = std::thread([self = shared_from_this()] {
        self->run();
        self->finished = true;
    });
    constexpr int kLongestName = 15;
    pthread_setname_np(thread.native_handle(),
                       threadName.left(kLongestName).toLatin1().constData());
}

void FileTransferThread::wait() {
    if (thread.joinable())
        thread.join();
}

QUrl FileTransferThread::addressOf(const QString &addressOrPath) const {
    return VDCommonUtils::isUrlFull(addressOrPath) ? QUrl(addressOrPath)
                                                   : con->itemUrl(addressOrPath);
}

bool FileTransferThread::exchange(ASWDCmd &command) {
    const auto completed = std::make_shared<bool>(false);
    command.completeEventHandler = [completed] { *completed = true; };
    if (!command.execute())
        return false;
    RunLoop::current()->runUntil([&] { return *completed || command.error; });
    return true;
}

void FileTransferThread::fail(int code) {
    error = Error{kConnectErrorDomain, code, {}};
}
