#include "webdav/ASWDCmdUpload.h"

#include <utility>

#include <QBuffer>
#include <QFile>

namespace {

constexpr int kNoInput = 32770;

std::unique_ptr<QIODevice> streamOfBytes(const QByteArray &bytes) {
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

std::unique_ptr<QIODevice> streamOfFile(const QString &path) {
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return nullptr;
    return file;
}

}  // namespace

bool ASWDCmdUploadBase::connect() {
    if (!readyForStream())
        return false;
    if (contentLength == 0)
        requestStream.reset();
    return connection()->openStreamWithRequestBodyStream(std::move(requestStream));
}

bool ASWDCmdUploadBase::readyForStream() {
    if (requestBody.isNull() && filePath.isNull())
        return false;
    requestStream = requestBody.isNull() ? streamOfFile(filePath) : streamOfBytes(requestBody);
    if (!requestStream) {
        error = Error{QStringLiteral("ASWDCmd"), kNoInput, {}};
        return false;
    }
    setupContentLength();
    return true;
}

// A part of a larger upload goes in chunks, its length told by Content-Range: the vendor's server
// expects it so.
void ASWDCmdUploadBase::setupContentLength() {
    contentLength = requestBody.isNull() ? fileLength : requestBody.size();
    if (!requestHeader.contains(QStringLiteral("X-KQ-ENABLE-RESUME")))
        connection()->setHeaderField(QStringLiteral("Content-Length"),
                                     QString::number(contentLength));
}
