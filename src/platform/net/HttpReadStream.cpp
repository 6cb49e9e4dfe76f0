#include "platform/net/HttpReadStream.h"

#include <algorithm>
#include <cstring>
#include <curl/curl.h>
#include <utility>

#include "platform/net/CurlMulti.h"
#include "platform/net/HttpSession.h"
#include "platform/net/RunLoop.h"
#include "platform/net/TlsFailure.h"

namespace {

constexpr int kMostRedirects = 10;
constexpr qint64 kMostHeadBytes = 256 * 1024;
constexpr qsizetype kMostFields = 1000;
// The text of a redirect is read so that the connection can be kept, up to this size.
constexpr qint64 kMostDroppedBytes = 64 * 1024;

QString decoded(const QByteArray &bytes) {
    const QString text = QString::fromUtf8(bytes);
    return text.contains(QChar::ReplacementCharacter) ? QString::fromLatin1(bytes) : text;
}

int effectivePort(const QUrl &url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

// The usual step from http://host to https://host stays at home; any other change doesn't.
bool isSameServer(const QUrl &from, const QUrl &to) {
    if (from.host().compare(to.host(), Qt::CaseInsensitive) != 0)
        return false;
    if (from.scheme() == to.scheme())
        return effectivePort(from) == effectivePort(to);
    return to.scheme() == QLatin1String("https") && effectivePort(from) == 80 &&
           effectivePort(to) == 443;
}

}  // namespace

std::shared_ptr<HttpReadStream> HttpReadStream::create(const HttpMessage &message,
                                                       const HttpStreamSettings &settings,
                                                       std::unique_ptr<QIODevice> bodyStream) {
    if (bodyStream && !bodyStream->isReadable())
        return nullptr;
    return std::shared_ptr<HttpReadStream>(
        new HttpReadStream(message, settings, std::move(bodyStream)));
}

HttpReadStream::HttpReadStream(const HttpMessage &message, const HttpStreamSettings &settings,
                               std::unique_ptr<QIODevice> bodyStream)
    : message(message), settings(settings), bodyStream(std::move(bodyStream)) {}

HttpReadStream::~HttpReadStream() {
    curl_slist_free_all(headerList);
    curl_slist_free_all(proxyHeaderList);
}

bool HttpReadStream::open(HttpReadStreamClient &newClient) {
    client = &newClient;
    if (start())
        return true;
    text = QStringLiteral("the request could not be started");
    client = nullptr;
    return false;
}

void HttpReadStream::close() {
    client = nullptr;
    if (multi)
        multi->remove(handle);
}

qint64 HttpReadStream::expectedBytes() const {
    bool isNumber = false;
    const qint64 size = answer.headerField(QStringLiteral("Content-Length")).toLongLong(&isNumber);
    return isNumber && size >= 0 ? size : -1;
}

std::optional<HttpChallenge> HttpReadStream::challenge() const {
    // A stranger's question isn't answered with the server's password.
    if (amongStrangers && answer.statusCode != 407)
        return std::nullopt;
    const QString field =
        answer.headerField(answer.statusCode == 407 ? QStringLiteral("Proxy-Authenticate")
                                                    : QStringLiteral("WWW-Authenticate"));
    return field.isEmpty() ? std::nullopt : std::optional(HttpChallenge::best(field));
}

bool HttpReadStream::start() {
    answer = {};
    headComplete = false;
    droppedBytes = 0;
    bodyPosition = 0;
    if (bodyStream && !bodyStream->seek(0))
        return false;

    multi = &RunLoop::current()->curl();
    handle = multi->take();
    applyGround();
    applyTarget();
    applyMethod();
    applyCallbacks();
    applyFields();
    applyProxyFields();
    applySecurity();
    return multi->add(shared_from_this());
}

void HttpReadStream::leaveHandle() {
    curl_easy_getinfo(handle, CURLINFO_HTTP_CONNECTCODE, &tunnelStatus);
    handle = nullptr;
    multi = nullptr;
}

void HttpReadStream::finished(int curlResult) {
    if (!client)
        return;
    const bool stoppedHere = curlResult == CURLE_WRITE_ERROR && (enough || droppedBytes > 0);
    // To curl a tunnel that needs a login is a failure; to the caller it is an answer.
    const bool proxyAsks = tunnelStatus == 407 && answer.statusCode == 407;
    if (curlResult != CURLE_OK && !stoppedHere && !proxyAsks)
        return fail(curlResult);
    const QUrl target = redirectTarget();
    if (!target.isEmpty())
        return follow(target);
    client->streamDidEnd();
}

void HttpReadStream::fail(int curlResult) {
    const auto code = static_cast<CURLcode>(curlResult);
    failed = tlsFailure(code, errorBuffer, !settings.clientCertificate.isEmpty());
    if (text.isEmpty())
        text = QString::fromUtf8(errorBuffer[0] ? errorBuffer : curl_easy_strerror(code));
    client->streamDidFail();
}

QUrl HttpReadStream::redirectTarget() const {
    static constexpr int followed[] = {301, 302, 303, 307, 308};
    if (std::find(std::begin(followed), std::end(followed), answer.statusCode) ==
        std::end(followed))
        return {};
    // This one names a page to be read, often a login form. Its 200 says nothing of a change.
    if (answer.statusCode == 303 && message.method != "GET" && message.method != "HEAD")
        return {};
    const QString location = answer.headerField(QStringLiteral("Location"));
    if (location.isEmpty())
        return {};
    const QUrl target = message.url.resolved(QUrl(location));
    const bool leavesTls =
        message.url.scheme() == QLatin1String("https") && target.scheme() != QLatin1String("https");
    const bool isHttp =
        target.scheme() == QLatin1String("http") || target.scheme() == QLatin1String("https");
    return isHttp && !leavesTls && !target.host().isEmpty() ? target : QUrl();
}

void HttpReadStream::follow(const QUrl &target) {
    if (++redirects > kMostRedirects) {
        text = QStringLiteral("more than %1 redirects").arg(kMostRedirects);
        return fail(CURLE_TOO_MANY_REDIRECTS);
    }
    amongStrangers |= !isSameServer(message.url, target);
    message.url = target;
    if (!start())
        fail(CURLE_FAILED_INIT);
}

size_t HttpReadStream::onHeader(const char *bytes, size_t, size_t length, HttpReadStream *self) {
    self->headBytes += static_cast<qint64>(length);
    if (self->headBytes > kMostHeadBytes || self->answer.fields.size() > kMostFields) {
        self->text = QStringLiteral("the answer's head is too long");
        return 0;
    }
    if (!self->client)
        return 0;
    self->takeHeaderLine(QByteArray(bytes, static_cast<qsizetype>(length)));
    return length;
}

void HttpReadStream::takeHeaderLine(const QByteArray &line) {
    const bool isFolded = line.startsWith(' ') || line.startsWith('\t');
    const QByteArray content = line.trimmed();
    if (!isFolded && content.startsWith("HTTP/")) {
        answer = {};
        headComplete = false;
        answer.statusLine = decoded(content);
        answer.statusCode = content.mid(content.indexOf(' ') + 1, 3).toInt();
    } else if (content.isEmpty()) {
        headComplete = answer.statusCode >= 200;
    } else if (headComplete) {
        // A trailer: too late to change what was decided.
    } else if (isFolded && !answer.fields.isEmpty()) {
        answer.fields.last().value += QLatin1Char(' ') + decoded(content);
    } else if (const qsizetype colon = content.indexOf(':'); colon > 0) {
        answer.addField(decoded(content.left(colon).trimmed()),
                        decoded(content.mid(colon + 1).trimmed()));
    }
}

size_t HttpReadStream::onBody(const char *bytes, size_t, size_t length, HttpReadStream *self) {
    if (!self->client)
        return 0;
    if (self->droppedBytes > 0 || !self->redirectTarget().isEmpty())
        return self->dropBody(length);
    switch (self->client->streamHasBytes(bytes, static_cast<qint64>(length))) {
        case HttpReadStreamClient::Reading::more:
            return length;
        case HttpReadStreamClient::Reading::enough:
            self->enough = true;
            return 0;
        case HttpReadStreamClient::Reading::refuse:
            self->text = QStringLiteral("the answer's body was refused");
            return 0;
    }
    return 0;
}

size_t HttpReadStream::dropBody(size_t length) {
    droppedBytes += static_cast<qint64>(length);
    return droppedBytes > kMostDroppedBytes ? 0 : length;
}

size_t HttpReadStream::onReadBody(char *into, size_t, size_t room, HttpReadStream *self) {
    if (!self->client)
        return CURL_READFUNC_ABORT;
    const qint64 got = self->readBody(into, static_cast<qint64>(room));
    const qint64 size = self->bodySize();
    if (got < 0 || (got == 0 && self->bodyPosition < size)) {
        self->text = QStringLiteral("the body to be sent ended after %1 of %2 bytes")
                         .arg(self->bodyPosition)
                         .arg(size);
        return CURL_READFUNC_ABORT;
    }
    self->bodyPosition += got;
    return static_cast<size_t>(got);
}

qint64 HttpReadStream::readBody(char *into, qint64 room) {
    // A file that grows meanwhile must not run into the next request.
    const qint64 size = bodySize();
    const qint64 length = size < 0 ? room : std::min(room, size - bodyPosition);
    if (bodyStream)
        return bodyStream->read(into, length);
    std::memcpy(into, message.body.constData() + bodyPosition, static_cast<size_t>(length));
    return length;
}

int HttpReadStream::onSeekBody(HttpReadStream *self, qint64 offset, int) {
    if (self->bodyStream && !self->bodyStream->seek(offset))
        return CURL_SEEKFUNC_FAIL;
    self->bodyPosition = offset;
    return CURL_SEEKFUNC_OK;
}

int HttpReadStream::onProgress(HttpReadStream *self, qint64, qint64, qint64, qint64 sent) {
    self->written = sent;
    return 0;
}
