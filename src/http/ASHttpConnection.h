#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

#include <QIODevice>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include "common/Error.h"
#include "http/ASHttpConnectInfo.h"
#include "platform/net/HttpReadStream.h"

class ASHttpConnection;

// Follows one exchange, on the thread that opened it.
class ASHttpConnectionDelegate {
  public:
    using Reading = HttpReadStreamClient::Reading;

    virtual ~ASHttpConnectionDelegate() = default;
    // Must neither wait nor start requests.
    virtual Reading connectionHandleBytes(ASHttpConnection &connection, const char *bytes,
                                          qint64 length) = 0;
    virtual void connectionDidBeginEstablishingConnection(ASHttpConnection &) {}
    virtual void connectionDidEstablish(ASHttpConnection &) {}  // never called
    virtual void connectionDidFailToEstablish(ASHttpConnection &) {}
    virtual void connectionDidReceiveResponse(ASHttpConnection &, const QVariantMap &) {}
    // To be answered by setAuthentication and a new opening. The challenge may be null.
    virtual void connectionDidReceiveAuthenticationChallenge(ASHttpConnection &,
                                                             const HttpChallenge *, bool) {}
    virtual void connectionDidFailToPassAuthenticationChallenge(ASHttpConnection &,
                                                                const HttpChallenge *) {}
    virtual void interruptedConnection(ASHttpConnection &) {}
    // Seconds without a sign of life after which the exchange fails; nothing: 120.
    virtual std::optional<double> timeout() const { return std::nullopt; }
};

// One HTTP/1.1 exchange on the run loop of the thread that opens it. Ends in exactly one call of
// the delegate: the response, a failure to establish, an interruption, or a refused login. A login
// that was asked for is the delegate's to answer, by opening again.
//
// Errors, domain "HTTPConnection": 4000 no request, 4001 credentials not added, 4002 stream not
// opened, 4003 and 4004 no stream with or without a body stream, 4005 stream failed, 4006 idle for
// too long. A user dictionary may hold "CertificateError".
class ASHttpConnection : private HttpReadStreamClient {
  public:
    ASHttpConnection();
    ~ASHttpConnection() override;
    ASHttpConnection(const ASHttpConnection &) = delete;
    ASHttpConnection &operator=(const ASHttpConnection &) = delete;

    QUrl remoteURL;
    ASHttpConnectionDelegate *delegate = nullptr;
    std::optional<Error> error;
    std::shared_ptr<ASHttpConnectInfo> connectInfo;
    // Why a delegate refused the body; else what the stream said of its failure. For the log, where
    // it goes as "OUTPUT" of the error.
    QString failureText;

    // Makes the request, once for all its sendings; false if there is one already.
    bool makeRequestWithURL(const QUrl &url, const QString &protocol);
    // A null value leaves the request without the field, an empty one is sent as such.
    void setHeaderField(const QString &name, const QString &value);
    void releaseRequest();

    bool openStream();
    bool openStreamWithRequestBodyData(const QByteArray &data);
    bool openStreamWithRequestBodyStream(std::unique_ptr<QIODevice> stream);
    bool setAuthenticationUsername(const QString &username, const QString &password,
                                   const QString &scheme, bool isProxy);
    struct Credentials {
        QString username;
        QString password;
        bool isProxy = false;
    };
    bool setAuthentication(const HttpChallenge *challenge, const Credentials &credentials);
    // Ends a running exchange, closing its connection to the server, with no word to the delegate.
    // Without force only the stream of an open connection is released.
    void closeStream(bool force = false);

    bool isOpen() const { return open; }
    // The fields as the server spelled them, with "statusCode" (int) and "statusString"; empty
    // where there is no answer.
    QVariantMap responseHeader() const;
    // 0 before the answer's first line came.
    int statusCode() const;
    // The announced size of the response's body, -1 if unknown.
    qint64 expectedBodyBytes() const;
    // Any thread. Nothing without a stream.
    std::optional<qint64> processedRequestBodyBytes() const;
    qint64 processedResponseBodyBytes() const { return responseBodyBytes; }

    // The beat of the idle watch, 5 seconds. Tests shorten it, and all limits shrink with it.
    static void setInspectInterval(std::chrono::milliseconds interval);

  private:
    Reading streamHasBytes(const char *bytes, qint64 length) override;
    void streamDidEnd() override;
    void streamDidFail() override;

    void addKnownCredentials();
    HttpStreamSettings streamSettings() const;
    const std::shared_ptr<HttpSession> &session() const;
    bool failOpening(int code);
    void handleError(const HttpReadStream &stream);
    void handleLoginRequest(const HttpReadStream &stream);
    void onInspectTimeout();
    void onTimeout();
    std::shared_ptr<HttpReadStream> currentStream() const;
    void setCurrentStream(std::shared_ptr<HttpReadStream> stream);

    std::unique_ptr<HttpMessage> request;
    const std::shared_ptr<HttpSession> ownSession = std::make_shared<HttpSession>();
    mutable std::mutex streamMutex;  // guards requestStream against readers of the progress
    std::shared_ptr<HttpReadStream> requestStream;
    bool open = false;
    bool authenticationRequired = false;
    bool proxyAuthenticationRequired = false;
    mutable QVariantMap cachedHeader;
    qint64 preSize = 0;
    std::unique_ptr<QTimer> timeoutInspectTimer;  // stopped while there is no stream
    std::chrono::steady_clock::time_point lastActivity;
    qint64 responseBodyBytes = 0;

    static std::atomic<std::chrono::milliseconds> inspectInterval;
};
