#include "transfer/UploadThread.h"

#include <algorithm>

#include <QFile>
#include <QFileInfo>

#include "transfer/ContentRange.h"
#include "webdav/ASWDCmdUpload.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

const StatusTable kUploadTable = {
    {200, 201, 204}, {{423, 5}, {409, 9}, {403, 7, StatusRow::kRefusable}, {507, 10}}, {0, 13}};

const QString kUploadDomain = QStringLiteral("UploadThread");
constexpr int kNoLocalFile = 0;
constexpr int kUnreadable = 1;

}  // namespace

UploadThread::UploadThread(const QString &localpath, const QString &serverPath,
                           qint64 uploadStartBytes, qint64 uploadEndBytes, bool enableResume,
                           qint64 divideSize, std::shared_ptr<VDWebDAVConnect> DAVConnection)
    : FileTransferThread(std::move(DAVConnection)),
      localPath(localpath),
      serverPath(serverPath),
      useResume(con->cryptofileversion == 0 && enableResume),
      divideSize(con->cryptofileversion == 0 ? divideSize : 0),
      uploadStartBytes(uploadStartBytes),
      uploadEndBytes(uploadEndBytes) {}

void UploadThread::run() {
    const QFileInfo info(localPath);
    if (divideSize <= 0 || (uploadEndBytes < 0 && !info.exists())) {
        uploadPartFrom(uploadStartBytes, uploadEndBytes);
        return;
    }
    const qint64 end = uploadEndBytes < 0 ? info.size() - 1 : uploadEndBytes;
    // A file of one byte has its start at its end, and isn't sent in this way.
    if (uploadStartBytes >= end)
        return;
    for (qint64 from = uploadStartBytes; from <= end; from += divideSize)
        uploadPartFrom(from, std::min(from + divideSize - 1, end));
}

void UploadThread::uploadPartFrom(qint64 from, qint64 to) {
    if (!QFileInfo::exists(localPath)) {
        error = Error{kUploadDomain, kNoLocalFile, {}};
        return;
    }
    const auto command = std::make_shared<ASWDCmdPut>(addressOf(serverPath), con->coninfo);
    command->requestHeader = {{QStringLiteral("Translate"), QStringLiteral("f")}};
    isVelmora = con->isVelmora(QStringLiteral("/"), nullptr);
    QFile file(localPath);
    if (!file.open(QIODevice::ReadOnly)) {
        error = Error{kUploadDomain, kUnreadable, {}};
        return;
    }
    command->requestBody = bodyOf(file, from, to, &command->requestHeader);
    if (!lockToken.isNull())
        command->requestHeader[QStringLiteral("If")] =
            con->dialect().ifOfPut(con->mountUrl, command->remoteURL, lockToken);
    if (!exchange(*command)) {
        fail(0);
        return;
    }
    if (command->error) {
        fail(kUploadTable.otherwise.code);
        return;
    }
    if (kUploadTable.success.contains(answerStatus(*command)))
        return;
    error = kUploadTable.errorOf(*command);
    error->userInfo.clear();
}

// The bytes to send, with the fields that tell their place. Null, which can't be sent, where the
// session has a key: nothing enciphers here, and the plain bytes must not leave.
QByteArray UploadThread::bodyOf(QFile &file, qint64 from, qint64 to,
                                QMap<QString, QString> *header) const {
    const qint64 size = file.size();
    if (size > 0 && !con->encryptKey.isEmpty())
        return {};
    const bool whole = from < 1 && to < 0;
    const qint64 first = whole ? 0 : from;
    const qint64 last = to < 0 ? size - 1 : to;
    if ((!whole || isVelmora) && size > 0)
        header->insert(QStringLiteral("Content-Range"), contentRange(first, last, size));
    if (isVelmora && useResume)
        header->insert(QStringLiteral("X-KQ-ENABLE-RESUME"), QStringLiteral(""));
    file.seek(first);
    const QByteArray bytes = file.read(last - first + 1);
    return bytes.isNull() ? QByteArray("") : bytes;
}
