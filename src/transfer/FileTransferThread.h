#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <thread>

#include <QString>
#include <QUrl>

#include "common/Error.h"

class ASWDCmd;
class VDWebDAVConnect;

// One transfer on a thread of its own. Made, started, then finished; not used again.
class FileTransferThread : public std::enable_shared_from_this<FileTransferThread> {
  public:
    explicit FileTransferThread(std::shared_ptr<VDWebDAVConnect> con) : con(std::move(con)) {}
    // Waits for the end.
    virtual ~FileTransferThread();
    FileTransferThread(const FileTransferThread &) = delete;
    FileTransferThread &operator=(const FileTransferThread &) = delete;

    // The outcome, once the thread has finished; nothing means success.
    std::optional<Error> error;

    // The transfer, on the calling thread.
    virtual void run() = 0;
    // The transfer, on a new thread.
    void start(const QString &threadName);
    bool isFinished() const { return finished; }
    void wait();

    // A mark for whoever reads it: a request in flight isn't stopped.
    void cancelRequest() { cancelled = true; }
    bool cancel() const { return cancelled; }

  protected:
    // A server address, or a path of the volume.
    QUrl addressOf(const QString &addressOrPath) const;
    // Runs the command to its end. False where it never started.
    static bool exchange(ASWDCmd &command);
    void fail(int code);

    const std::shared_ptr<VDWebDAVConnect> con;

  private:
    std::atomic<bool> cancelled{false};
    std::atomic<bool> finished{false};
    std::thread thread;
};
