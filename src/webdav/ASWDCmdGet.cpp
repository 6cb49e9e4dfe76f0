#include "webdav/ASWDCmdGet.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <QFile>
#include <QRegularExpression>

#include "common/LocalFileDates.h"
#include "common/VDCommonUtils.h"
#include "webdav/StatusTable.h"

namespace {

// An error page longer than this isn't read to its end.
constexpr qint64 kMostDroppedBytes = 1024 * 1024;

// The first byte of "bytes 0-499/1234".
std::optional<qint64> rangeStart(const ASWDCmd &command) {
    static const QRegularExpression form(QStringLiteral("^bytes[ =](\\d+)-\\d+"));
    const QRegularExpressionMatch match =
        form.match(answerField(command, QStringLiteral("Content-Range")).value_or(QString()));
    return match.hasMatch() ? std::optional(match.captured(1).toLongLong()) : std::nullopt;
}

}  // namespace

HttpReadStreamClient::Reading ASWDCmdGetStream::connectionHandleBytes(ASHttpConnection &connection,
                                                                      const char *bytes,
                                                                      qint64 length) {
    if (!isWanted(connection.statusCode())) {
        droppedBytes += length;
        return droppedBytes > kMostDroppedBytes ? Reading::enough : Reading::more;
    }
    if (responseStream && responseStream->write(bytes, length) != length)
        return refuse(connection, responseStream->errorString());
    return Reading::more;
}

void ASWDCmdGetStream::willEnd() {
    if (responseStream)
        responseStream->close();
}

bool ASWDCmdGetStream::executeInto(const QString &path) {
    if (!ASWDCmd::execute())
        return false;
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        connection()->closeStream(true);
        connection()->failureText = file->errorString();
        error = Error{QStringLiteral("ASWDCmd"), 32768, {}};
        return false;
    }
    responseStream = std::move(file);
    return true;
}

bool ASWDCmdGet::execute() {
    return executeInto(localFile.toLocalFile());
}

ASWDCmdGetImpl::ASWDCmdGetImpl(const QUrl &remoteURL,
                               std::shared_ptr<ASHttpConnectInfo> connectInfo,
                               const QString &encryptKey)
    : ASWDCmdGetStream(remoteURL, std::move(connectInfo)), encryptKey(encryptKey) {}

bool ASWDCmdGetImpl::execute() {
    bodyBegun = false;
    return localfile.isNull() ? ASWDCmd::execute() : executeInto(localfile);
}

HttpReadStreamClient::Reading ASWDCmdGetImpl::connectionHandleBytes(ASHttpConnection &connection,
                                                                    const char *bytes,
                                                                    qint64 length) {
    if (!isWanted(connection.statusCode()))
        return ASWDCmdGetStream::connectionHandleBytes(connection, bytes, length);
    if (!std::exchange(bodyBegun, true) && !beginBody(connection))
        return refuse(connection, QStringLiteral("the answer holds another part than asked for"));

    const qint64 windowStart = std::max<qint64>(wantedStart, 0);
    const qint64 windowEnd =
        wantedLength < 0 ? std::numeric_limits<qint64>::max() : windowStart + wantedLength;
    const qint64 from = std::clamp(windowStart - position, qint64{0}, length);
    const qint64 to = std::clamp(windowEnd - position, from, length);
    position += length;
    if (localfile.isNull()) {
        if (memory.size() + to - from > ASWDCmdBase::maximumBody)
            return refuse(connection, QStringLiteral("the answer is longer than %1 bytes")
                                          .arg(qint64{ASWDCmdBase::maximumBody}));
        memory.append(bytes + from, to - from);
    } else if (responseStream && responseStream->write(bytes + from, to - from) != to - from) {
        return refuse(connection, responseStream->errorString());
    }
    // An answer that ends just here is read to its end, so that its connection stays usable.
    const bool moreWouldCome = position > windowEnd || (bodyEnd && *bodyEnd > windowEnd);
    return position >= windowEnd && moreWouldCome ? Reading::enough : Reading::more;
}

// Where the body lies in the server's file.
bool ASWDCmdGetImpl::beginBody(ASHttpConnection &connection) {
    position = 0;
    if (connection.statusCode() == 206) {
        const std::optional<qint64> start = rangeStart(*this);
        if (wantedStart >= 0 && start != wantedStart)
            return false;
        position = start.value_or(0);
    }
    const qint64 expected = connection.expectedBodyBytes();
    bodyEnd = expected < 0 ? std::nullopt : std::optional(position + expected);
    if (localfile.isNull()) {
        const bool reachesEnd = wantedLength < 0 || (bodyEnd && expected < wantedLength);
        const qint64 room = reachesEnd ? expected : wantedLength;
        memory.clear();
        memory.reserve(std::clamp<qint64>(room, 0, ASWDCmdBase::maximumBody));
    }
    return true;
}

void ASWDCmdGetImpl::willEnd() {
    ASWDCmdGetStream::willEnd();
    if (localfile.isNull() && !error)
        responseData = memory.isNull() ? QByteArray("") : std::move(memory);
}

void ASWDCmdGetImpl::applyServerDates() const {
    const auto field = [this](const char *name) {
        return answerField(*this, QString::fromLatin1(name)).value_or(QString());
    };
    const QString created = field("X-KQ-CreationDate");
    LocalFileDates dates;
    if (created.size() >= 2)
        dates.creation = VDCommonUtils::parseDate(created);
    dates.modification = VDCommonUtils::parseLastmodifiedDate(field("Last-Modified"));
    dates.applyTo(localfile);
}
