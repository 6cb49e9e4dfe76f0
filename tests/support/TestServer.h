#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include "Certificate.h"
#include "Faults.h"
#include "RecordedRequest.h"

struct ServerState;
class ServerThread;

// An HTTP and WebDAV server, or a proxy, on 127.0.0.1 at a port of its own, served by a thread of
// its own until it is destroyed. It keeps its files in memory, records what it is asked and breaks
// on command. Any thread may call any function at any time; a change applies to the next request.
//
// Without makeVelmora it is a strict standard server (see Dialect). Paths of this class are decoded
// and begin with "/".
class TestServer {
  public:
    enum Mode { Http, Https, HttpProxy };
    enum Scheme { NoLogin, Basic, Digest };

    explicit TestServer(Mode mode = Http,
                        const Certificate::Options &certificate = Certificate::Options());
    ~TestServer();
    TestServer(const TestServer &) = delete;
    TestServer &operator=(const TestServer &) = delete;

    // The percent-encoded URL of a path; a proxy's is that of its port.
    QString url(const QString &path = QStringLiteral("/")) const;
    quint16 port() const;
    QByteArray certificatePem() const;

    // The tree. Missing parents are made. Writing again replaces content and etag.
    void addFile(const QString &path, const QByteArray &data, const QDateTime &modified = {});
    // Content by offset, no memory used: see generatedBytes.
    void addGeneratedFile(const QString &path, qint64 size, const QDateTime &modified = {});
    void addFolder(const QString &path, const QDateTime &modified = {});
    // Lists an entry in a folder whose href's last component is exactly these bytes ("%2F", "..",
    // invalid UTF-8), and answers requests for it.
    void addRawEntry(const QString &folder, const QByteArray &hrefName, const QByteArray &data);
    void remove(const QString &path);
    bool exists(const QString &path) const;
    // The file's content; null where there is none.
    QByteArray content(const QString &path) const;
    QStringList names(const QString &folder) const;
    QByteArray etag(const QString &path) const;
    QDateTime modified(const QString &path) const;
    QDateTime created(const QString &path) const;
    void setModified(const QString &path, const QDateTime &time);
    void setCreated(const QString &path, const QDateTime &time);
    // The bytes of a generated file.
    static QByteArray generatedBytes(qint64 offset, qint64 length);

    // Properties in any namespace. The value is the inner XML as it is to be sent; a live
    // property's name replaces what the server would answer. A null value removes it.
    void setProperty(const QString &path, const QString &nameSpace, const QString &name,
                     const QString &innerXml);
    QString property(const QString &path, const QString &nameSpace, const QString &name) const;

    // Locks. Takes one for somebody else, or answers the token of the lock on a path, null without.
    QByteArray lockAs(const QString &path, const QString &owner, bool shared = false);
    QByteArray lockToken(const QString &path) const;
    QString lockOwner(const QString &path) const;
    void dropLock(const QString &path);

    // How strictly requests are read. makeVelmora makes it lenient in all of this, and the server
    // then sends and understands the X-KQ fields.
    struct Dialect {
        enum class LiteralRange { ignore, accept, refuse };  // whole file, 206, 416
        LiteralRange literalRange = LiteralRange::ignore;    // "Range: bytes 0-9"
        bool pathDestination = false;      // a Destination without scheme and host is no 400
        bool strictIf = true;              // else any token in an If header counts for all
        bool xmlNeedsContentType = false;  // 415 to a PROPPATCH without one
        bool echoOwner = true;             // the owner in lock answers is as it was sent
        bool locking = true;               // else no "2" in DAV and 405 to LOCK
        bool dav = true;                   // else a plain web server
        bool folderSlash = true;           // hrefs of folders end in "/"
        bool fullUrlHrefs = false;         // hrefs with scheme and host
        // A PUT with a Content-Range: taken for the whole file, 400, or written at its place.
        enum class PartialPut { ignore, refuse, apply };
        PartialPut partialPut = PartialPut::ignore;
        bool displayNames = false;    // else 404 for displayname
        bool ranges = true;           // else every GET is answered with 200 and all
        bool chunkedAnswers = false;  // bodies in chunks, without a Content-Length
        bool keepAlive = true;
        bool etags = true;
    };
    void setDialect(const std::function<void(Dialect &)> &change);

    // The vendor's server. A lock on a missing item is answered with 200 and makes none.
    void makeVelmora(const QByteArray &version = "4.0");
    // A header field of every OPTIONS answer, in place of the server's own of that name; with a
    // null value there is none of that name.
    void setOptionsHeader(const QByteArray &name, const QByteArray &value);
    // A header field of every answer to that method (empty: any) and path (empty: any).
    void setAnswerHeader(const QByteArray &method, const QString &path, const QByteArray &name,
                         const QByteArray &value);
    // What an X-KQ-CHECK-WRITABLE question is answered with; null: not at all.
    void setWritableAnswer(const QString &path, const QByteArray &value);
    void setQuotaAnswer(const QByteArray &value);       // X-KQ-GET-QUOTA
    void refuseUploadsAbove(qint64 bytes);              // X-KQ-QUERY-UPLOAD
    void refuseExtension(const QByteArray &extension);  // X-KQ-REFUSAL-EXTENSION, with a 403
    void setPublicAddress(const QByteArray &address);   // X-KQ-SET-PUBLIC
    // The answer to a POST on that path.
    void setPostAnswer(const QString &path, int status, const QByteArray &body,
                       const QByteArray &contentType = "text/html");

    // Logins. A proxy asks for its own with 407.
    void requireLogin(Scheme scheme, const QString &user, const QString &password,
                      const QString &realm = QStringLiteral("test"));
    // The next request with a known Digest nonce is told that it is stale.
    void expireNonce();
    // Asks a TLS client for a certificate (not checked); to be called before it connects.
    void askForClientCertificate();
    // Closes on a TLS client that shows another certificate, or none.
    void demandClientCertificate(const QByteArray &pem);
    // Every host a proxy is asked for is this port of 127.0.0.1; 0: as asked.
    void routeProxyTo(quint16 port);

    // Faults.
    void fault(const Fault &fault);
    void clearFaults();
    void releaseStalled();
    // Closes every connection, idle or not (by RST if told so).
    void dropConnections(bool reset = false);
    // Stops and starts listening at the same port.
    void goAway();
    void comeBack();

    // What was asked. countOf: empty means any.
    QList<RecordedRequest> requests() const;
    QList<RecordedRequest> requests(const QByteArray &method, const QString &path = {}) const;
    // The last request (with that method); one with an empty method if there was none.
    RecordedRequest lastRequest(const QByteArray &method = {}) const;
    int countOf(const QByteArray &method, const QString &path = {}) const;
    void clearRequests();
    int connectionCount() const;  // accepted so far
    int openConnections() const;
    // Waits until so many such requests were recorded; false after the time limit. Serves no
    // events of the calling thread.
    bool waitForRequests(const QByteArray &method, const QString &path, int count,
                         std::chrono::milliseconds limit = std::chrono::seconds(5)) const;

  private:
    std::shared_ptr<ServerState> state;
    std::unique_ptr<ServerThread> thread;
};
