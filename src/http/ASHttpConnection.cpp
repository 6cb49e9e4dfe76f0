#include "http/ASHttpConnection.h"

#include <utility>

#include "platform/net/RunLoop.h"

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kInspectInterval = 5s;
constexpr double kTimeout = 120.0;  // seconds

const QString kDomain = QStringLiteral("HTTPConnection");

// The mark that tells the session to ask about a certificate.
QString certificateError(HttpReadStream::Failure failure) {
    using Failure = HttpReadStream::Failure;
    switch (failure) {
        case Failure::untrustedServer:
            return QStringLiteral("ServerSelfCertificate");
        case Failure::clientCertificateMissing:
            return QStringLiteral("ClientCertificateNone");
        case Failure::clientCertificateRejected:
            return QStringLiteral("ClientCertificateInvalid");
        case Failure::none:
        case Failure::other:
            return {};
    }
    return {};
}

}  // namespace

std::atomic<std::chrono::milliseconds> ASHttpConnection::inspectInterval{kInspectInterval};

ASHttpConnection::ASHttpConnection() = default;

ASHttpConnection::~ASHttpConnection() {
    closeStream(true);
}

void ASHttpConnection::setInspectInterval(std::chrono::milliseconds interval) {
    inspectInterval = interval;
}

bool ASHttpConnection::makeRequestWithURL(const QUrl &url, const QString &protocol) {
    if (request)
        return false;
    remoteURL = url;
    request = HttpMessage::createRequest(protocol, url);
    if (!request)
        error = Error{kDomain, 4000, {}};
    return request != nullptr;
}

void ASHttpConnection::setHeaderField(const QString &name, const QString &value) {
    if (request)
        request->setHeaderField(name, value);
}

void ASHttpConnection::releaseRequest() {
    request.reset();
}

bool ASHttpConnection::openStream() {
    return openStreamWithRequestBodyStream(nullptr);
}

bool ASHttpConnection::openStreamWithRequestBodyData(const QByteArray &data) {
    if (request)
        request->body = data.isNull() ? QByteArray("") : data;
    return openStreamWithRequestBodyStream(nullptr);
}

bool ASHttpConnection::openStreamWithRequestBodyStream(std::unique_ptr<QIODevice> body) {
    cachedHeader.clear();
    if (delegate)
        delegate->connectionDidBeginEstablishingConnection(*this);
    if (!request)
        return failOpening(body ? 4003 : 4004);
    addKnownCredentials();

    const bool streamed = body != nullptr;
    auto stream = HttpReadStream::create(*request, streamSettings(), std::move(body));
    if (!stream)
        return failOpening(streamed ? 4003 : 4004);
    setCurrentStream(stream);
    if (!stream->open(*this)) {
        failureText = stream->errorText();
        setCurrentStream(nullptr);
        return failOpening(4002);
    }

    open = true;
    lastActivity = std::chrono::steady_clock::now();
    responseBodyBytes = 0;
    if (!timeoutInspectTimer) {
        timeoutInspectTimer = std::make_unique<QTimer>();
        QObject::connect(timeoutInspectTimer.get(), &QTimer::timeout, timeoutInspectTimer.get(),
                         [this] { onInspectTimeout(); });
    }
    timeoutInspectTimer->start(inspectInterval.load());
    return true;
}

// A scheme is known once a challenge was answered on this session; from then on every request
// carries the login at once.
void ASHttpConnection::addKnownCredentials() {
    if (!connectInfo)
        return;
    const bool hasProxy = connectInfo->isUseProxy && !connectInfo->proxyHost.isEmpty() &&
                          connectInfo->proxyPort.has_value();
    for (const bool isProxy : {false, true}) {
        const std::optional<HttpCredentials> login = connectInfo->login(isProxy);
        if (login && !login->scheme.isNull() && (!isProxy || hasProxy))
            setAuthenticationUsername(login->username, login->password, login->scheme, isProxy);
    }
}

HttpStreamSettings ASHttpConnection::streamSettings() const {
    HttpStreamSettings settings;
    settings.session = session();
    if (!connectInfo)
        return settings;
    settings.validatesSecureCertificate = connectInfo->validatesSecureCertificate;
    const bool isHttps = remoteURL.scheme() == QLatin1String("https");
    if (connectInfo->isUseProxy && connectInfo->proxyPort &&
        connectInfo->isUseProxyHTTPS == isHttps) {
        settings.proxyHost = connectInfo->proxyHost;
        settings.proxyPort = *connectInfo->proxyPort;
    }
    if (isHttps && !connectInfo->clientCertificates.isEmpty()) {
        const ClientIdentity &identity = connectInfo->clientCertificates.first();
        settings.clientCertificate = identity.certificate;
        settings.clientKey = identity.privateKey;
        settings.clientCertificateType = identity.type;
        settings.clientKeyPassphrase = identity.passphrase;
    }
    return settings;
}

const std::shared_ptr<HttpSession> &ASHttpConnection::session() const {
    return connectInfo ? connectInfo->httpSession : ownSession;
}

bool ASHttpConnection::failOpening(int code) {
    // Why there is no request says more than that there is no stream for it.
    if (!error)
        error = Error{kDomain, code, {}};
    if (delegate)
        delegate->connectionDidFailToEstablish(*this);
    return false;
}

bool ASHttpConnection::setAuthenticationUsername(const QString &username, const QString &password,
                                                 const QString &scheme, bool isProxy) {
    if (request && request->addAuthentication(username, password, scheme, isProxy))
        return true;
    error = Error{kDomain, 4001, {}};
    return false;
}

bool ASHttpConnection::setAuthentication(const HttpChallenge *challenge,
                                         const Credentials &credentials) {
    if (!challenge)
        return false;
    const bool isProxy = credentials.isProxy;
    if (!setAuthenticationUsername(credentials.username, credentials.password, challenge->scheme,
                                   isProxy))
        return false;
    session()->learn(isProxy, *challenge);
    if (connectInfo)
        connectInfo->rememberScheme(isProxy, challenge->scheme);
    (isProxy ? proxyAuthenticationRequired : authenticationRequired) = true;
    return true;
}

// The thread's curl handle keeps the connection to the server for the next request, so that nothing
// has to linger here without force.
void ASHttpConnection::closeStream(bool force) {
    if (!open && !force)
        return;
    if (open)
        timeoutInspectTimer->stop();
    open = false;
    if (const std::shared_ptr<HttpReadStream> stream = currentStream())
        stream->close();
    setCurrentStream(nullptr);
}

QVariantMap ASHttpConnection::responseHeader() const {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    if (!cachedHeader.isEmpty() || !stream)
        return cachedHeader;
    const HttpResponse &response = stream->response();
    if (response.fields.isEmpty())
        return {};
    for (const HttpMessage::Field &field : response.fields)
        cachedHeader.insert(field.name, field.value);
    cachedHeader.insert(QStringLiteral("statusCode"), response.statusCode);
    cachedHeader.insert(QStringLiteral("statusString"), response.statusLine);
    return cachedHeader;
}

int ASHttpConnection::statusCode() const {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    return stream ? stream->response().statusCode
                  : cachedHeader.value(QStringLiteral("statusCode")).toInt();
}

qint64 ASHttpConnection::expectedBodyBytes() const {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    return stream ? stream->expectedBytes() : -1;
}

std::optional<qint64> ASHttpConnection::processedRequestBodyBytes() const {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    return stream ? std::optional(stream->requestBytesWritten()) : std::nullopt;
}

HttpReadStreamClient::Reading ASHttpConnection::streamHasBytes(const char *bytes, qint64 length) {
    responseBodyBytes += length;
    lastActivity = std::chrono::steady_clock::now();
    return delegate ? delegate->connectionHandleBytes(*this, bytes, length) : Reading::more;
}

void ASHttpConnection::streamDidEnd() {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    const QVariantMap header = responseHeader();
    closeStream(true);
    // A cookie goes back to the session's server whoever set it.
    if (connectInfo && !header.isEmpty() && !stream->isAmongStrangers())
        connectInfo->setCookie(header, remoteURL);

    const int status = header.value(QStringLiteral("statusCode")).toInt();
    if (status == 401 || status == 407)
        return handleLoginRequest(*stream);
    if (header.isEmpty())
        return handleError(*stream);
    if (delegate)
        delegate->connectionDidReceiveResponse(*this, header);
}

void ASHttpConnection::streamDidFail() {
    const std::shared_ptr<HttpReadStream> stream = currentStream();
    handleError(*stream);
}

void ASHttpConnection::handleLoginRequest(const HttpReadStream &stream) {
    const bool isProxy = stream.response().statusCode == 407;
    const bool alreadyTried = isProxy ? proxyAuthenticationRequired : authenticationRequired;
    const bool hasLogin = connectInfo && connectInfo->login(isProxy).has_value();
    // A cookie that came with the challenge belongs to its answer.
    if (connectInfo)
        setHeaderField(QStringLiteral("Cookie"), connectInfo->cookieValue());
    if (!delegate)
        return;
    const std::optional<HttpChallenge> challenge = stream.challenge();
    const HttpChallenge *known = challenge ? &*challenge : nullptr;
    if (hasLogin && !alreadyTried)
        delegate->connectionDidReceiveAuthenticationChallenge(*this, known, isProxy);
    else
        delegate->connectionDidFailToPassAuthenticationChallenge(*this, known);
}

void ASHttpConnection::handleError(const HttpReadStream &stream) {
    closeStream(true);
    if (failureText.isEmpty())
        failureText = stream.errorText();
    if (!error) {
        QVariantMap userInfo;
        if (const QString mark = certificateError(stream.failure()); !mark.isNull())
            userInfo.insert(QStringLiteral("CertificateError"), mark);
        if (!failureText.isEmpty())
            userInfo.insert(QStringLiteral("OUTPUT"), failureText);
        error = Error{kDomain, 4005, userInfo};
    }
    if (delegate)
        delegate->interruptedConnection(*this);
}

void ASHttpConnection::onInspectTimeout() {
    const auto now = std::chrono::steady_clock::now();
    const qint64 sent = processedRequestBodyBytes().value_or(0);
    if (sent > preSize) {
        lastActivity = now;
        preSize = sent;
    }
    const double limit = delegate ? delegate->timeout().value_or(kTimeout) : kTimeout;
    const double scale = std::chrono::duration<double>(inspectInterval.load()) / kInspectInterval;
    if (now - lastActivity >= std::chrono::duration<double>(limit * scale))
        onTimeout();
}

void ASHttpConnection::onTimeout() {
    error = Error{kDomain, 4006, {}};
    closeStream(true);
    if (delegate)
        delegate->interruptedConnection(*this);
}

std::shared_ptr<HttpReadStream> ASHttpConnection::currentStream() const {
    const std::lock_guard guard(streamMutex);
    return requestStream;
}

void ASHttpConnection::setCurrentStream(std::shared_ptr<HttpReadStream> stream) {
    const std::lock_guard guard(streamMutex);
    requestStream.swap(stream);
}
