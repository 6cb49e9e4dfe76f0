#pragma once

#include <atomic>
#include <memory>

#include <QIODevice>
#include <QString>
#include <QUrl>

#include "platform/net/HttpMessage.h"

class CurlMulti;
class HttpSession;
struct curl_slist;

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
// Redirects are followed inside, with method and body, at most 10 of them; credentials, cookies and
// lock tokens stay with the server they were meant for. A body cut short is a failure.
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
    static std::shared_ptr<HttpReadStream> create(HttpMessage &message,
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
    // Null where the answer holds no challenge of the server (or proxy) that was asked.
    std::unique_ptr<HttpAuthentication> authentication() const;

    Failure failure() const { return failed; }
    // For the log; holds no secret.
    const QString &errorText() const { return text; }

  private:
    friend class CurlMulti;

    HttpReadStream(HttpMessage &message, const HttpStreamSettings &settings,
                   std::unique_ptr<QIODevice> bodyStream);

    // One hop of the exchange.
    bool begin();
    bool start();
    void finished(int curlResult);
    void fail(int curlResult);
    bool follow();
    bool isHome(const QUrl &url) const;

    // Setting the curl handle for a hop; every option each time, since handles are used again.
    void applyTarget();
    void applyMethod();
    void applyFields();
    void applyCredentials();
    void applySecurity();
    qint64 bodySize() const;

    size_t onHeader(const char *bytes, size_t length);
    size_t onBody(const char *bytes, size_t length);
    size_t onReadBody(char *into, size_t room);
    bool rewindBody(qint64 offset);

    HttpMessage message;
    const HttpStreamSettings settings;
    std::unique_ptr<QIODevice> bodyStream;
    std::shared_ptr<CurlEasy> easy;
    CurlMulti *multi = nullptr;  // while a hop is under way
    HttpReadStreamClient *client = nullptr;
    curl_slist *headerList = nullptr;
    QUrl url;  // of this hop
    int redirects = 0;
    bool strippedOfSecrets = false;
    bool enough = false;
    bool refused = false;
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
