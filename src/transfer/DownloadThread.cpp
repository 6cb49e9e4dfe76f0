#include "transfer/DownloadThread.h"

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdGet.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// A 401 reads as any other failure here, unlike with the session's own downloads.
const StatusTable kDownloadTable = {{200, 206}, {{403, 7}, {404, 6}}, {0, 13}};

QString rangeText(qint64 start, qint64 end) {
    const QString last = end < 0 ? QString() : QString::number(end);
    return QStringLiteral("bytes %1-%2").arg(QString::number(start), last);
}

}  // namespace

DownloadThread::DownloadThread(const QString &file, const QString &srcFile, qint64 startByte,
                               qint64 endByte, std::shared_ptr<VDWebDAVConnect> conection)
    : FileTransferThread(std::move(conection)),
      downfile(file),
      DAVpath(VDCommonUtils::isUrlFull(srcFile) ? con->replaceUserPath(srcFile) : srcFile),
      startBytes(startByte),
      endBytes(endByte) {}

void DownloadThread::run() {
    const auto command =
        std::make_shared<ASWDCmdGetImpl>(addressOf(DAVpath), con->coninfo, con->encryptKey);
    command->requestHeader = {{QStringLiteral("Translate"), QStringLiteral("f")}};
    command->localfile = downfile;
    if (startBytes > 0 || endBytes >= 0) {
        // The vendor's server reads the range of a download here. Elsewhere the field has no
        // meaning in a request, and the answer would be the whole file.
        if (con->isVelmora()) {
            command->requestHeader[QStringLiteral("Content-Range")] =
                rangeText(startBytes, endBytes);
        } else {
            command->requestHeader[QStringLiteral("Range")] =
                con->dialect().range(startBytes, endBytes);
            command->wantedStart = startBytes;
            command->wantedLength = endBytes < 0 ? -1 : endBytes - startBytes + 1;
        }
    }
    if (!exchange(*command)) {
        fail(0);
        return;
    }
    if (command->error) {
        // Broken off, whatever the answer's first line promised.
        fail(kDownloadTable.otherwise.code);
        return;
    }
    if (kDownloadTable.success.contains(answerStatus(*command)))
        command->applyServerDates();
    else
        error = kDownloadTable.errorOf(*command);
}
