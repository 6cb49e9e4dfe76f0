// Content on the calling thread: whole files to disk, ranges to memory, and the questions about a
// file's size and digest.

#include <QRegularExpression>

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdGet.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/LockDiscovery.h"
#include "webdav/Namespaces.h"
#include "webdav/PropertyWalk.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kOutOfSpace = 10;
constexpr int kAnyOther = 13;

// A range without an end is never asked for more than half of this. What comes beyond is another,
// bigger file than the caller knows, and must not fill the memory.
constexpr qint64 kLongestOpenRange = 16 * 1024 * 1024;

const StatusTable kFileTable = {
    {200, 206}, {{401, 1}, {403, 7}, {404, 6}, {500, 11}, {503, 12}}, {0, 13}};
const QList<StatusRow> kContentRows = {
    {400, 18, StatusRow::kOutput}, {401, 1}, {403, 7}, {404, 6}, {500, 11, StatusRow::kOutput},
    {503, 12, StatusRow::kOutput}};
const StatusTable kRangeTable = {{200, 206}, kContentRows, {0, 13, StatusRow::kOutput}};
const StatusTable kDigestTable = {{200}, kContentRows, {0, 13, StatusRow::kOutput}};

const HeaderFields kUntranslated = {{QStringLiteral("Translate"), QStringLiteral("f")}};

RangeAnswer rangeAnswerOf(const ASWDCmd &command) {
    RangeAnswer answer;
    answer.lastModified = VDCommonUtils::parseLastmodifiedDate(
        answerField(command, QStringLiteral("Last-Modified")).value_or(QString()));
    static const QRegularExpression total(QStringLiteral("/\\s*([0-9]+)\\s*$"));
    // A refused range comes with the file's size in the same field as a part.
    const int status = answerStatus(command);
    const bool partial = status == 206 || status == 416;
    const QString field = answerField(command, partial ? QStringLiteral("Content-Range")
                                                       : QStringLiteral("Content-Length"))
                              .value_or(QString());
    bool isNumber = false;
    const qint64 size =
        (partial ? total.match(field).captured(1) : field.trimmed()).toLongLong(&isNumber);
    if (isNumber && size >= 0)
        answer.totalSize = size;
    answer.etag = answerField(command, QStringLiteral("ETag")).value_or(QString());
    if (answer.etag.startsWith(QLatin1String("W/")))
        answer.etag.remove(0, 2);
    return answer;
}

int hexDigit(QChar character) {
    bool isDigit = false;
    const int value = QStringView(&character, 1).toInt(&isDigit, 16);
    return isDigit ? value : 0;
}

}  // namespace

bool VDWebDAVConnect::fileDownload(const QString &localPath, const QString &srcpath, const void *,
                                   ErrorOut error) {
    const auto command = std::make_shared<ASWDCmdGetImpl>(itemUrl(srcpath), coninfo, encryptKey);
    command->requestHeader = kUntranslated;
    command->localfile = localPath;
    if (runCommand(*this, *command, kFileTable, error) != Outcome::kSuccess)
        return false;
    command->applyServerDates();
    return true;
}

QByteArray VDWebDAVConnect::filePartDownloadWithSrcpath(const QString &path, qint64 startBytes,
                                                        qint64 endBytes, ErrorOut error,
                                                        RangeAnswer *answer) {
    const bool isOpen = endBytes < 0;
    const auto command = std::make_shared<ASWDCmdGetImpl>(itemUrl(path), coninfo);
    command->requestHeader = kUntranslated;
    if (startBytes > 0 || !isOpen)
        command->requestHeader[QStringLiteral("Range")] = dialect().range(startBytes, endBytes);
    command->wantedStart = startBytes;
    command->wantedLength = isOpen ? kLongestOpenRange + 1 : endBytes - startBytes + 1;
    const Outcome outcome = runCommand(*this, *command, kRangeTable, error);
    const bool tellsVersion = outcome == Outcome::kSuccess || answerStatus(*command) == 416;
    if (answer && tellsVersion)
        *answer = rangeAnswerOf(*command);
    if (outcome != Outcome::kSuccess)
        return {};

    if (isOpen && command->responseData.size() > kLongestOpenRange) {
        setError(error, {kConnectErrorDomain,
                         kAnyOther,
                         {{QStringLiteral("OUTPUT"), QStringLiteral("Unexpectedly long body")}}});
        return {};
    }
    // Of a part only what was asked for, whatever more the server sent.
    const QByteArray bytes = command->responseData.left(command->wantedLength);
    return bytes.isNull() ? QByteArrayLiteral("") : bytes;
}

QByteArray VDWebDAVConnect::getMD5(const QString &path, qint64 from, qint64 to, ErrorOut error) {
    return withRetries(kRetrySetA, error,
                       [&](ErrorOut failure) { return getMD5Internal(path, from, to, failure); });
}

QByteArray VDWebDAVConnect::getMD5Internal(const QString &path, qint64 from, qint64 to,
                                           ErrorOut error) {
    if (!isVelmora(path, error))
        return {};
    const QString field = QStringLiteral("X-KQ-Partial-MD5");
    const auto command = std::make_shared<ASWDCmdHead>(itemUrl(path), coninfo);
    command->requestHeader[field] = QStringLiteral("bytes=%1-%2").arg(from).arg(to);
    if (runCommand(*this, *command, kDigestTable, error) != Outcome::kSuccess)
        return {};
    const std::optional<QString> digest = answerField(*command, field);
    return digest ? hexStringtoByte(*digest) : QByteArray();
}

QByteArray VDWebDAVConnect::hexStringtoByte(const QString &text) {
    if (text.size() % 2 != 0)
        return {};
    // The accumulator isn't cleared between bytes, so that from the second on each carries the end
    // of the one before. Digests are compared in this form; an ordinary decoder would differ.
    quint32 accumulator = 0;
    QByteArray bytes("");
    for (qsizetype at = 0; at < text.size(); ++at) {
        accumulator += hexDigit(text[at]);
        if (at % 2 == 0)
            accumulator <<= 4;
        else
            bytes.append(static_cast<char>(accumulator & 0xff));
    }
    return bytes;
}

qint64 VDWebDAVConnect::getFIleSize(const QString &path, qint64 reqsize, ErrorOut error) {
    return getFIleSize(path, reqsize, nullptr, error);
}

qint64 VDWebDAVConnect::getFIleSize(const QString &path, qint64 reqsize,
                                    std::shared_ptr<LockDiscovery> *lockDiscovery, ErrorOut error) {
    const QString query = QStringLiteral("X-KQ-QUERY-UPLOAD");
    const CommandPtr command = getItemProperty(
        path, {QStringLiteral("getcontentlength"), QStringLiteral("lockdiscovery")},
        {kDavNamespaceURI, kDavNamespaceURI}, {{query, QString::number(reqsize)}}, error);
    if (!command)
        return 0;
    // Its presence is the refusal.
    if (answerField(*command, query)) {
        setError(error, {kConnectErrorDomain, kOutOfSpace, {}});
        return 0;
    }
    const auto parser = parsedBody(*command, QStringLiteral("Failure XMX PARSE"), error);
    if (!parser)
        return 0;

    qint64 size = 0;
    forEachProperty(*parser, [&](const ASXMLDomNode &property) {
        if (property.elementName == QLatin1String("getcontentlength"))
            size = property.elementValue.trimmed().toLongLong();
        else if (property.elementName == QLatin1String("lockdiscovery") && lockDiscovery)
            *lockDiscovery = LockDiscovery::createFromXmlNode(property, error);
    });
    return size;
}
