#pragma once

#include <atomic>
#include <curl/curl.h>
#include <memory>

#include <QIODevice>
#include <QString>
#include <QUrl>

#include "platform/net/HttpMessage.h"

class CurlMulti;
class HttpSession;

// What a read stream has to tell, on the thread that opened it.
class HttpReadStreamClient {
  public:
    enum class Reading {
        more,    // go on
        enough,  // end well here; the connection is closed
        refuse,  // end as a failure
    };

    virtual ~HttpReadStreamClient() = default;
    // Comes from within curl: no waiting, no new requests here.
    virtual Reading streamHasBytes(const char *bytes, qint64 length) = 0;
    virtual void streamDidEnd() = 0;
    virtual void streamDidFail() = 0;
};

struct HttpStreamSettings {
    QString proxyHost;  // null: direct
    int proxyPort = 0;
    bool validatesSecureCertificate = true;
    // The client identity; see ClientIdentity for the forms.
    QString clientCertificate;
    QString clientKey;
    QString clientCertificateType;
    QString clientKeyPassphrase;
    std::shared_ptr<HttpSession> session;  // never null
};

// Sends a message and reads the answer, driven by the run loop of the thread that opens it.
// Redirects are followed inside, with method and body, at most 10 of them; credentials, the
// client's certificate, cookies and lock tokens stay with the server they were meant for. A body
// cut short is a failure.
class HttpReadStream : public std::enable_shared_from_this<HttpReadStream> {
  public:
    // Failures with a meaning for the caller; everything else is `other`.
    enum class Failure {
        none,
        other,
        untrustedServer,
        clientCertificateMissing,
        clientCertificateRejected
    };

    // With a body stream the body comes from there, from its start, Content-Length bytes of it or,
    // without that field, all in chunks.
    static std::shared_ptr<HttpReadStream> create(const HttpMessage &message,
                                                  const HttpStreamSettings &settings,
                                                  std::unique_ptr<QIODevice> bodyStream = nullptr);
    ~HttpReadStream();

    // False where curl refuses the request; then errorText tells why.
    bool open(HttpReadStreamClient &client);
    // Ends everything at once, without another event.
    void close();

    // The last answer's head; statusCode 0 before there is one.
    const HttpResponse &response() const { return answer; }
    // The announced size of the body, -1 if unknown.
    qint64 expectedBytes() const;
    // Any thread.
    qint64 requestBytesWritten() const { return written; }
    // The challenge of a 401 or 407; nothing where the answer names none, or comes from a server
    // that a redirect led to.
    std::optional<HttpChallenge> challenge() const;
    // Whether a redirect has led to another server than the one that was asked.
    bool isAmongStrangers() const { return amongStrangers; }

    Failure failure() const { return failed; }
    // For the log; holds no secret.
    const QString &errorText() const { return text; }

  private:
    friend class CurlMulti;

    HttpReadStream(const HttpMessage &message, const HttpStreamSettings &settings,
                   std::unique_ptr<QIODevice> bodyStream);

    // One request and its answer; an exchange has several where it is redirected.
    bool start();
    // The curl handle is taken away, at the end or before.
    void leaveHandle();
    void finished(int curlResult);
    void fail(int curlResult);
    // Where a redirect leads; an empty URL where the answer is none that is followed.
    QUrl redirectTarget() const;
    void follow(const QUrl &target);

    // The settings of the curl handle, which comes without any.
    void applyGround();
    void applyTarget();
    void applyMethod();
    void applyCallbacks();
    void applyFields();
    void applyProxyFields();
    void applySecurity();
    bool hasProxy() const { return !settings.proxyHost.isEmpty(); }
    bool hasBody() const;
    qint64 bodySize() const;

    static size_t onHeader(const char *bytes, size_t, size_t length, HttpReadStream *self);
    static size_t onBody(const char *bytes, size_t, size_t length, HttpReadStream *self);
    static size_t onReadBody(char *into, size_t, size_t room, HttpReadStream *self);
    static int onSeekBody(HttpReadStream *self, qint64 offset, int origin);
    static int onProgress(HttpReadStream *self, qint64, qint64, qint64, qint64 sent);
    void takeHeaderLine(const QByteArray &line);
    size_t dropBody(size_t length);
    qint64 readBody(char *into, qint64 room);

    HttpMessage message;
    const HttpStreamSettings settings;
    std::unique_ptr<QIODevice> bodyStream;
    CURL *handle = nullptr;  // this and multi: while a request is under way
    CurlMulti *multi = nullptr;
    HttpReadStreamClient *client = nullptr;
    curl_slist *headerList = nullptr;
    curl_slist *proxyHeaderList = nullptr;
    long tunnelStatus = 0;  // what the proxy said to CONNECT
    int redirects = 0;
    bool amongStrangers = false;
    bool enough = false;
    qint64 bodyPosition = 0;
    qint64 droppedBytes = 0;
    qint64 headBytes = 0;
    bool headComplete = false;
    HttpResponse answer;
    std::atomic<qint64> written{0};
    Failure failed = Failure::none;
    QString text;
    char errorBuffer[256] = {};
};
