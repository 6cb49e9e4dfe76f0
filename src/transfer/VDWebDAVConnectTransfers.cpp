// Uploads on the calling thread, whole or in parts, and the starters of the transfer threads.

#include <algorithm>
#include <optional>

#include <QFile>
#include <QFileInfo>

#include "common/LocalFileDates.h"
#include "common/VDCommonUtils.h"
#include "transfer/ContentRange.h"
#include "transfer/DownloadThread.h"
#include "transfer/UploadThread.h"
#include "transfer/VDProgressbar.h"
#include "webdav/ASWDCmdUpload.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr qint8 kUploadDisplay = 0;
constexpr int kBadRequest = 18;

const StatusTable kPutTable = {{200, 201, 204},
                               {{400, 18, StatusRow::kOutput},
                                {403, 7, StatusRow::kRefusable},
                                {409, 9},
                                {413, 23},
                                {415, 20, StatusRow::kOutput},
                                {423, 5, StatusRow::kOutput},
                                {500, 11, StatusRow::kOutput},
                                {503, 12, StatusRow::kOutput},
                                {507, 10, StatusRow::kOutput}},
                               {0, 13, StatusRow::kOutput}};

const QString kUploadThreadName = QStringLiteral("KQWebDAVFileUploadThread");
const QString kDownloadThreadName = QStringLiteral("KQWebDAVFileDownloadThread");

// The bytes of a part, both ends inclusive; null with an error where the file doesn't have them.
QByteArray readPart(const QString &path, qint64 from, qint64 to, ErrorOut error) {
    QFile file(path);
    const qint64 length = to - from + 1;
    QByteArray bytes;
    if (length > 0 && file.open(QIODevice::ReadOnly) && file.seek(from))
        bytes = file.read(length);
    if (bytes.size() == length)
        return bytes.isNull() ? QByteArray("") : bytes;
    setError(error, Error::errorWithPOSIXCode(EIO));
    return {};
}

void describeDates(const QString &path, HeaderFields &headers) {
    const LocalFileDates dates = LocalFileDates::of(path);
    if (dates.creation.isValid())
        headers[QStringLiteral("X-KQ-CreationDate")] =
            VDCommonUtils::lastmodifiedDateStringFromDate(dates.creation);
    if (dates.modification.isValid())
        headers[QStringLiteral("X-KQ-LastModified")] =
            VDCommonUtils::lastmodifiedDateStringFromDate(dates.modification);
}

}  // namespace

bool VDWebDAVConnect::fileUpload(const QString &localPath, const QString &serverPath,
                                 const QString &lockToken, ErrorOut error) {
    return fileUpload(localPath, serverPath, lockToken, nullptr, nullptr, false, error);
}

bool VDWebDAVConnect::fileUpload(const QString &localPath, const QString &serverPath,
                                 const QString &lockToken, const std::shared_ptr<ASWDCmdPut> &cmd,
                                 const std::atomic<bool> *stopFlg, bool openProgress,
                                 ErrorOut error) {
    const qint64 size = QFileInfo(localPath).size();
    // Only the vendor's server puts parts together; another would keep the last one as the file.
    if (velmora && uploadDivideSize >= 1 && size != 0)
        return uploadInParts(localPath, serverPath, lockToken, size, stopFlg, openProgress, error);

    std::shared_ptr<ASWDCmdPut> command = cmd;
    std::shared_ptr<VDProgressbar> progress;
    if (openProgress && size > 0) {
        progress =
            showUpload(serverPath, size, command ? std::nullopt : std::optional(kUploadDisplay));
        if (!command)
            command = std::make_shared<ASWDCmdPut>(itemUrl(serverPath), coninfo);
        progress->setCmd(command);
        progress->setTimer();
    }
    return uploadPartFrom(0, -1, localPath, serverPath, lockToken, command, error);
}

std::shared_ptr<VDProgressbar> VDWebDAVConnect::showUpload(const QString &serverPath, qint64 size,
                                                           std::optional<qint8> displaytype) {
    const auto progress = std::make_shared<VDProgressbar>(size, displaytype);
    progress->openWindowWithPath(serverPath);
    const std::lock_guard lock(uploadsMutex);
    uploads.removeIf([](const auto &upload) { return upload.expired(); });
    uploads += progress;
    return progress;
}

QList<UploadProgress> VDWebDAVConnect::uploadsUnderWay() const {
    const std::lock_guard lock(uploadsMutex);
    QList<UploadProgress> underWay;
    for (const auto &upload : uploads) {
        if (const auto progress = upload.lock())
            underWay += progress->progress();
    }
    return underWay;
}

// A file of a single byte sends no part at all, and counts as sent.
bool VDWebDAVConnect::uploadInParts(const QString &localPath, const QString &serverPath,
                                    const QString &lockToken, qint64 size,
                                    const std::atomic<bool> *stopFlg, bool openProgress,
                                    ErrorOut error) {
    std::shared_ptr<VDProgressbar> progress;
    if (openProgress)
        progress = showUpload(serverPath, size, kUploadDisplay);
    const qint64 last = size - 1;
    if (last < 1)
        return true;
    for (qint64 from = 0, to = 0; from <= last; from = to + 1) {
        to = std::min(from + uploadDivideSize - 1, last);
        std::optional<Error> failure;
        uploadPartFrom(from, to, localPath, serverPath, lockToken, nullptr, &failure);
        if (failure) {
            setError(error, *failure);
            return false;
        }
        if (progress)
            progress->nextStatus(to);
        if (stopFlg && *stopFlg)
            return false;
    }
    return true;
}

bool VDWebDAVConnect::uploadPartFrom(qint64 from, qint64 to, const QString &localpath,
                                     const QString &serverPath, const QString &lockToken,
                                     const std::shared_ptr<ASWDCmdPut> &cmd, ErrorOut error) {
    const QFileInfo info(localpath);
    if (!info.exists()) {
        setError(error, {QStringLiteral("UploadThread"), 0, {}});
        return false;
    }
    const QUrl url = itemUrl(serverPath);
    const auto command = cmd ? cmd : std::make_shared<ASWDCmdPut>(url, coninfo);
    HeaderFields headers = {{QStringLiteral("Translate"), QStringLiteral("f")}};
    const qint64 size = info.size();
    if (from > 0 || to >= 0) {
        if (!velmora) {
            // A standard server would refuse the part, or take it for the whole file.
            setError(error, {kConnectErrorDomain, kBadRequest, {}});
            return false;
        }
        const qint64 last = to < 0 ? size - 1 : to;
        command->requestBody = readPart(localpath, from, last, error);
        if (command->requestBody.isNull())
            return false;
        headers[QStringLiteral("Content-Range")] = contentRange(from, last, size);
        headers[QStringLiteral("X-KQ-ENABLE-RESUME")] = QStringLiteral("");
    } else {
        command->filePath = localpath;
        command->fileLength = size;
        if (velmora && size > 0)
            headers[QStringLiteral("Content-Range")] = contentRange(0, size - 1, size);
        else if (velmora)
            headers[QStringLiteral("Content-Length")] = QStringLiteral("0");
    }
    if (velmora)
        describeDates(localpath, headers);
    else
        dialect().describeModification(headers, LocalFileDates::of(localpath).modification);
    if (!lockToken.isNull())
        headers[QStringLiteral("If")] = dialect().ifOfPut(mountUrl, url, lockToken);
    command->requestHeader = headers;
    return runCommand(*this, *command, kPutTable, error) == Outcome::kSuccess;
}

std::shared_ptr<UploadThread> VDWebDAVConnect::fileUpload(const QString &localPath,
                                                          const QString &serverPath,
                                                          qint64 startBytes, bool enableResume,
                                                          const QString &lockToken,
                                                          ErrorOut error) {
    return fileUpload(localPath, serverPath, startBytes, -1, enableResume, lockToken, error);
}

std::shared_ptr<UploadThread> VDWebDAVConnect::fileUpload(const QString &localPath,
                                                          const QString &serverPath,
                                                          qint64 startBytes, qint64 endBytes,
                                                          bool enableResume,
                                                          const QString &lockToken, ErrorOut) {
    const auto upload =
        std::make_shared<UploadThread>(localPath, serverPath, startBytes, endBytes, enableResume,
                                       uploadDivideSize, sharedSession());
    upload->lockToken = lockToken;
    upload->start(kUploadThreadName);
    return upload;
}

std::shared_ptr<DownloadThread> VDWebDAVConnect::fileDownload(const QString &localPath,
                                                              const QString &srcpath,
                                                              ErrorOut error) {
    return fileDownload(localPath, srcpath, qint64{0}, error);
}

std::shared_ptr<DownloadThread> VDWebDAVConnect::fileDownload(const QString &localPath,
                                                              const QString &srcpath,
                                                              qint64 startBytes, ErrorOut error) {
    return fileDownload(localPath, srcpath, startBytes, -1, error);
}

// Goes to the end of the file, whatever end it is given.
std::shared_ptr<DownloadThread> VDWebDAVConnect::fileDownload(const QString &localPath,
                                                              const QString &srcpath,
                                                              qint64 startBytes, qint64,
                                                              ErrorOut error) {
    return fileDownload(localPath, srcpath, startBytes, -1, encryptKey, error);
}

std::shared_ptr<DownloadThread> VDWebDAVConnect::fileDownload(const QString &localPath,
                                                              const QString &srcpath,
                                                              qint64 startBytes, qint64 endBytes,
                                                              const QString &, ErrorOut) {
    const auto download =
        std::make_shared<DownloadThread>(localPath, srcpath, startBytes, endBytes, sharedSession());
    download->start(kDownloadThreadName);
    return download;
}

// A thread keeps its session; one that lives on a stack must outlive the thread.
std::shared_ptr<VDWebDAVConnect> VDWebDAVConnect::sharedSession() {
    if (auto self = weak_from_this().lock())
        return self;
    return {std::shared_ptr<void>(), this};
}
