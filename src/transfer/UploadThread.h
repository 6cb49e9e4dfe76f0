#pragma once

#include <QByteArray>
#include <QMap>

#include "transfer/FileTransferThread.h"

class QFile;

// Sends a local file, or a range of its bytes, to a server path, in parts where a size for them is
// given. Each part is held in memory. Errors of domain "UploadThread": 0 no local file, 1
// unreadable; of the session's: 0 not started, 5, 7, 9, 10, 13, 17.
class UploadThread : public FileTransferThread {
  public:
    // An end below 0 means to the end of the file, a divideSize of 0 one request. A session that
    // enciphers sends in one request and without resuming.
    UploadThread(const QString &localpath, const QString &serverPath, qint64 uploadStartBytes,
                 qint64 uploadEndBytes, bool enableResume, qint64 divideSize,
                 std::shared_ptr<VDWebDAVConnect> DAVConnection);

    QString lockToken;  // null without a lock; to be set before the start

    // Every part is sent, whatever became of those before it; the last failure stands.
    void run() override;
    void uploadPartFrom(qint64 from, qint64 to);

  private:
    QByteArray bodyOf(QFile &file, qint64 from, qint64 to, QMap<QString, QString> *header) const;

    const QString localPath;
    const QString serverPath;
    const bool useResume;
    const qint64 divideSize;
    const qint64 uploadStartBytes;
    const qint64 uploadEndBytes;
    bool isVelmora = false;  // as the server confirmed for this transfer
};
