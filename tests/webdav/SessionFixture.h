#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/ASHttpConnectInfo.h"
#include "support/RecordingInterface.h"
#include "support/TestServer.h"
#include "webdav/LockDiscovery.h"
#include "webdav/VDWebDAVConnect.h"

using LockPtr = std::shared_ptr<LockDiscovery>;

// A session with the test server, and a person who answers its questions.
class SessionFixture : public testing::Test {
  protected:
    static constexpr int kNone = -1;

    // A session that has not asked anything yet.
    void open(const QString &url) {
        session = std::make_shared<VDWebDAVConnect>(std::make_shared<ASHttpConnectInfo>(), url);
    }

    // A session after discovery, with nothing recorded yet. The server is to be as wanted before.
    void connect(const QString &path = QStringLiteral("/")) {
        open(server.url(path));
        ASSERT_TRUE(session->IsDAVServer(QString(), &failure)) << code();
        server.clearRequests();
    }

    void connectToVelmora(const QByteArray &version = "4.0") {
        server.makeVelmora(version);
        connect();
        ASSERT_TRUE(session->isVelmora());
    }

    // The same for a version, or for a standard server with "".
    void connectAs(const char *user, const QByteArray &version) {
        version.isEmpty() ? connect() : connectToVelmora(version);
        session->user = QString::fromLatin1(user);
    }

    // Every request comes on a connection of its own. Where one that was kept open breaks, the
    // request is sent again by itself, and a fault goes by unnoticed.
    void useFreshConnections() {
        server.setDialect([](TestServer::Dialect &dialect) { dialect.keepAlive = false; });
    }

    // The code of the last failure. Use forget() as the error-out of an operation.
    int code() const { return failure ? failure->code : kNone; }
    ErrorOut forget() {
        failure.reset();
        return &failure;
    }
    QString output() const {
        return failure ? failure->userInfo.value(QStringLiteral("OUTPUT")).toString() : QString();
    }
    // The code with an "o" where the failure carries the status line; "-" without a failure.
    std::string codeText() const {
        if (!failure)
            return "-";
        EXPECT_EQ(failure->domain, kConnectErrorDomain);
        return std::to_string(failure->code) + (output().isNull() ? "" : "o");
    }

    // "METHOD /target", a line for each of these fields, and the body, with "$S" for the server's
    // scheme, host and port.
    std::string wire(const RecordedRequest &request,
                     const QList<QByteArray> &fields = {"Destination", "Overwrite", "If", "Depth",
                                                        "Timeout", "Lock-Token",
                                                        "Content-Type"}) const {
        QByteArray text = request.method + ' ' + request.target + '\n';
        for (const QByteArray &name : fields) {
            if (request.has(name.constData()))
                text += name + ": " + request.header(name.constData()) + '\n';
        }
        text += request.body;
        text.replace(server.url(QString()).toUtf8(), "$S");
        return text.toStdString();
    }

    TestServer server;
    RecordingInterface person;
    std::shared_ptr<VDWebDAVConnect> session;
    std::optional<Error> failure;
};

inline QString composed(const QString &text) {
    return text.normalized(QString::NormalizationForm_C);
}

inline QString decomposed(const QString &text) {
    return text.normalized(QString::NormalizationForm_D);
}
