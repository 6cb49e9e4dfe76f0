#pragma once

#include <memory>
#include <optional>

#include <QByteArray>
#include <QStringList>

#include "http/ASHttpConnection.h"
#include "support/WaitFor.h"

// One exchange, with the delegate's part of a login, and what came of it.
class Exchange : public ASHttpConnectionDelegate {
  public:
    explicit Exchange(std::shared_ptr<ASHttpConnectInfo> info = nullptr) {
        connection.delegate = this;
        connection.connectInfo = std::move(info);
    }

    ASHttpConnection connection;
    QStringList events;  // the ends told: "response", "interrupted", "unestablished", "refused"
    int challenges = 0;
    QByteArray body;
    QByteArray requestBody;  // null: none
    std::optional<double> limit;

    bool make(const QString &method, const QString &url) {
        return connection.makeRequestWithURL(QUrl(url), method);
    }
    bool send() {
        return requestBody.isNull() ? connection.openStream()
                                    : connection.openStreamWithRequestBodyData(requestBody);
    }
    // True where exactly one end was told.
    bool run() {
        send();
        return waitFor([this] { return !events.isEmpty(); }) && events.size() == 1;
    }
    bool get(const QString &url) { return make(QStringLiteral("GET"), url) && run(); }
    QString end() const { return events.value(0); }
    int status() const {
        return connection.responseHeader().value(QStringLiteral("statusCode")).toInt();
    }
    int errorCode() const { return connection.error ? connection.error->code : 0; }
    QString mark() const {
        return connection.error
                   ? connection.error->userInfo.value(QStringLiteral("CertificateError")).toString()
                   : QString();
    }

  private:
    Reading connectionHandleBytes(ASHttpConnection &, const char *bytes, qint64 length) override {
        body.append(bytes, length);
        return Reading::more;
    }
    void connectionDidFailToEstablish(ASHttpConnection &) override {
        events << QStringLiteral("unestablished");
    }
    void connectionDidReceiveResponse(ASHttpConnection &, const QVariantMap &) override {
        events << QStringLiteral("response");
    }
    void connectionDidReceiveAuthenticationChallenge(ASHttpConnection &,
                                                     const HttpChallenge *challenge,
                                                     bool isProxy) override {
        ++challenges;
        body.clear();
        const auto login = connection.connectInfo->login(isProxy);
        if (!connection.setAuthentication(challenge, {login->username, login->password, isProxy}))
            events << QStringLiteral("refused");
        else
            send();
    }
    void connectionDidFailToPassAuthenticationChallenge(ASHttpConnection &,
                                                        const HttpChallenge *) override {
        events << QStringLiteral("refused");
    }
    void interruptedConnection(ASHttpConnection &) override {
        events << QStringLiteral("interrupted");
    }
    std::optional<double> timeout() const override { return limit; }
};
