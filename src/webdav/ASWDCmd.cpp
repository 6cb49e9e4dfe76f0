#include "webdav/ASWDCmd.h"

#include <algorithm>
#include <utility>

#include "platform/net/RunLoop.h"

namespace {

const QString kDomain = QStringLiteral("ASWDCmd");
constexpr int kConnectionFailure = 32768;

}  // namespace

ASWDCmd::ASWDCmd(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : remoteURL(remoteURL), connectInfo(std::move(connectInfo)) {}

ASWDCmd::~ASWDCmd() = default;

bool ASWDCmd::execute() {
    auto started = std::make_shared<ASHttpConnection>();
    started->delegate = this;
    started->connectInfo = connectInfo;
    ended = false;
    {
        const std::lock_guard guard(mutex);
        if (cancelled) {
            error = Error{kDomain, kConnectionFailure, {}};
            return false;
        }
        exchange = std::move(started);
        owner = RunLoop::current();
    }
    return makeRequest() && connect();
}

bool ASWDCmd::cancel() {
    std::shared_ptr<RunLoop> loop;
    {
        const std::lock_guard guard(mutex);
        cancelled = true;
        loop = owner;
    }
    if (!loop)
        return true;
    if (loop->isCurrent()) {
        cancelOnOwnThread();
        return true;
    }
    loop->post([command = weak_from_this()] {
        if (const std::shared_ptr<ASWDCmd> alive = command.lock())
            alive->cancelOnOwnThread();
    });
    return true;
}

void ASWDCmd::cancelOnOwnThread() {
    if (ended)
        return;
    const std::shared_ptr<ASHttpConnection> running = connection();
    running->closeStream(true);
    interruptedConnection(*running);
}

QString ASWDCmd::protocol() const {
    return QStringLiteral("UNKNOWN");
}

QVariantMap ASWDCmd::responseHeader() const {
    const std::shared_ptr<ASHttpConnection> current = connection();
    return current ? current->responseHeader() : QVariantMap();
}

std::shared_ptr<ASHttpConnection> ASWDCmd::connection() const {
    const std::lock_guard guard(mutex);
    return exchange;
}

// The result of making the request doesn't matter here: without one the stream won't open.
bool ASWDCmd::makeRequest() {
    ASHttpConnection &connection = *exchange;
    connection.makeRequestWithURL(remoteURL, protocol());
    for (auto field = requestHeader.cbegin(); field != requestHeader.cend(); ++field)
        connection.setHeaderField(field.key(), field.value());
    connection.setHeaderField(QStringLiteral("User-Agent"),
                              QStringLiteral("Velmora-Disk(Mac)/" VELMORA_VERSION));
    connection.setHeaderField(QStringLiteral("Cookie"),
                              connectInfo ? connectInfo->cookieValue() : QString());
    return true;
}

bool ASWDCmd::connect() {
    return exchange->openStream();
}

void ASWDCmd::fireCompleted() {
    end();
}

void ASWDCmd::fireError() {
    end();
}

void ASWDCmd::end() {
    if (std::exchange(ended, true))
        return;
    willEnd();
    if (completeEventHandler)
        completeEventHandler();
}

void ASWDCmd::fail(int code, const QVariantMap &userInfo) {
    error = Error{kDomain, code, userInfo};
    fireError();
}

HttpReadStreamClient::Reading ASWDCmd::refuse(ASHttpConnection &connection, const QString &text) {
    connection.failureText = text;
    return Reading::refuse;
}

HttpReadStreamClient::Reading ASWDCmd::connectionHandleBytes(ASHttpConnection &, const char *,
                                                             qint64) {
    return Reading::more;
}

void ASWDCmd::connectionDidFailToEstablish(ASHttpConnection &) {
    fail(kConnectionFailure);
}

void ASWDCmd::connectionDidReceiveResponse(ASHttpConnection &, const QVariantMap &) {
    fireCompleted();
}

void ASWDCmd::connectionDidReceiveAuthenticationChallenge(ASHttpConnection &connection,
                                                          const HttpChallenge *challenge,
                                                          bool isProxy) {
    const std::optional<HttpCredentials> login =
        connectInfo ? connectInfo->login(isProxy) : std::nullopt;
    const bool sent =
        login &&
        connection.setAuthentication(challenge, {login->username, login->password, isProxy}) &&
        connect();
    if (!sent)
        fail(kConnectionFailure);
}

void ASWDCmd::connectionDidFailToPassAuthenticationChallenge(ASHttpConnection &,
                                                             const HttpChallenge *) {
    fail(kConnectionFailure);
}

void ASWDCmd::interruptedConnection(ASHttpConnection &connection) {
    fail(kConnectionFailure, connection.error ? connection.error->userInfo : QVariantMap());
}

bool ASWDCmdBase::execute() {
    responseBody = QByteArray();
    return ASWDCmd::execute();
}

HttpReadStreamClient::Reading ASWDCmdBase::connectionHandleBytes(ASHttpConnection &connection,
                                                                 const char *bytes, qint64 length) {
    if (responseBody.size() + length > maximumBody)
        return refuse(
            connection,
            QStringLiteral("the answer is longer than %1 bytes").arg(qint64{maximumBody}));
    if (responseBody.isEmpty())
        responseBody.reserve(std::clamp(connection.expectedBodyBytes(), qint64{0}, maximumBody));
    responseBody.append(bytes, length);
    return Reading::more;
}

void ASWDCmdBase::connectionDidReceiveAuthenticationChallenge(ASHttpConnection &connection,
                                                              const HttpChallenge *challenge,
                                                              bool isProxy) {
    // The text of the refusal is nobody's answer.
    responseBody = QByteArray();
    ASWDCmd::connectionDidReceiveAuthenticationChallenge(connection, challenge, isProxy);
}

bool ASWDCmdRequestBase::connect() {
    return connection()->openStreamWithRequestBodyData(requestBody.toUtf8());
}
