#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include "common/Error.h"
#include "http/ASHttpConnection.h"

class RunLoop;

// One request with its method, fields, body and handling of the answer, for one execution. Held by
// std::shared_ptr. It lives on the thread that calls execute(), whose run loop must then be served;
// cancel() and connection() may come from anywhere.
//
// Errors, domain "ASWDCmd": 32768 connection failure (detail in connection()->error; its user
// dictionary is copied for an interruption), 32769 XML, 32770 no input for an upload. A status such
// as 404 is no error.
class ASWDCmd : protected ASHttpConnectionDelegate, public std::enable_shared_from_this<ASWDCmd> {
  public:
    ASWDCmd(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);
    ~ASWDCmd() override;
    ASWDCmd(const ASWDCmd &) = delete;
    ASWDCmd &operator=(const ASWDCmd &) = delete;

    QUrl remoteURL;
    std::shared_ptr<ASHttpConnectInfo> connectInfo;
    // Called once, when the exchange has ended well or badly.
    std::function<void()> completeEventHandler;
    QMap<QString, QString> requestHeader;
    std::optional<Error> error;

    // True: the exchange has started. False: it never will, and the handler has been called only if
    // the connection could not be established.
    virtual bool execute();
    // Ends a running exchange as a failure; one not yet started will not start. Always true.
    bool cancel();
    virtual QString protocol() const;
    // The answer's fields as sent, "statusCode" (int) and "statusString"; empty without an answer.
    QVariantMap responseHeader() const;
    // Null before execute().
    std::shared_ptr<ASHttpConnection> connection() const;

  protected:
    virtual bool makeRequest();
    // Sends; also the way to send again with a login.
    virtual bool connect();
    void fireCompleted();
    void fireError();
    // Sets the error and tells the end.
    void fail(int code, const QVariantMap &userInfo = {});
    // Before the command's end is told, whichever it is.
    virtual void willEnd() {}
    // Gives up a body; the text goes to the log.
    static Reading refuse(ASHttpConnection &connection, const QString &text);

    Reading connectionHandleBytes(ASHttpConnection &connection, const char *bytes,
                                  qint64 length) override;
    void connectionDidFailToEstablish(ASHttpConnection &connection) override;
    void connectionDidReceiveResponse(ASHttpConnection &connection,
                                      const QVariantMap &header) override;
    void connectionDidReceiveAuthenticationChallenge(ASHttpConnection &connection,
                                                     const HttpChallenge *challenge,
                                                     bool isProxy) override;
    void connectionDidFailToPassAuthenticationChallenge(ASHttpConnection &connection,
                                                        const HttpChallenge *challenge) override;
    void interruptedConnection(ASHttpConnection &connection) override;

  private:
    void end();
    void cancelOnOwnThread();

    mutable std::mutex mutex;  // guards exchange, owner and cancelled
    std::shared_ptr<ASHttpConnection> exchange;
    std::shared_ptr<RunLoop> owner;
    bool cancelled = false;
    bool ended = false;
};

// Keeps the whole response in memory, at most maximumBody bytes; more is a connection failure.
class ASWDCmdBase : public ASWDCmd {
  public:
    using ASWDCmd::ASWDCmd;
    static constexpr qint64 maximumBody = 128 * 1024 * 1024;

    QByteArray responseBody;

    bool execute() override;

  protected:
    Reading connectionHandleBytes(ASHttpConnection &connection, const char *bytes,
                                  qint64 length) override;
    void connectionDidReceiveAuthenticationChallenge(ASHttpConnection &connection,
                                                     const HttpChallenge *challenge,
                                                     bool isProxy) override;
};

// Sends a text.
class ASWDCmdRequestBase : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;

    QString requestBody;

  protected:
    bool connect() override;
};
