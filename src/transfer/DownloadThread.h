#pragma once

#include "transfer/FileTransferThread.h"

// Fetches a byte range of a server file into a local file. Of a failed transfer a part may stay on
// the disk. Errors: 0 not started, 6, 7, 13.
class DownloadThread : public FileTransferThread {
  public:
    // srcFile: the server address, variables included. An end below 0 means to the end of the file.
    DownloadThread(const QString &file, const QString &srcFile, qint64 startByte, qint64 endByte,
                   std::shared_ptr<VDWebDAVConnect> conection);

    void run() override;

  private:
    const QString downfile;
    const QString DAVpath;
    const qint64 startBytes;
    const qint64 endBytes;
};
