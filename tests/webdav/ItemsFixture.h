#pragma once

#include <gtest/gtest.h>

#include "http/ASHttpConnectInfo.h"
#include "support/TestServer.h"
#include "webdav/LockDiscovery.h"
#include "webdav/VDWebDAVConnect.h"

using LockPtr = std::shared_ptr<LockDiscovery>;

// A session of the user "me" with the test server.
class ItemsFixture : public testing::Test {
  protected:
    // Makes the server the vendor's in that version, or leaves it a standard one for "".
    void connect(const QByteArray &velmoraVersion = "") {
        if (!velmoraVersion.isEmpty())
            server.makeVelmora(velmoraVersion);
        const auto info = std::make_shared<ASHttpConnectInfo>();
        info->username = QStringLiteral("me");
        session = std::make_shared<VDWebDAVConnect>(info, server.url());
        ASSERT_TRUE(session->IsDAVServer(QString(), &error));
        server.clearRequests();
    }

    // The code of the last error with an "O" where it carries the status line; "-" without error.
    QString code() {
        if (!error)
            return QStringLiteral("-");
        EXPECT_EQ(error->domain, kConnectErrorDomain);
        const bool output = error->userInfo.value(QStringLiteral("OUTPUT")).isValid();
        return QString::number(error->code) + (output ? "O" : "");
    }

    // "METHOD /target", a line for each field that tells something, and the body, with "$S" for the
    // server's scheme, host and port.
    std::string wire(const RecordedRequest &request) const {
        static const QList<QByteArray> kept = {"Destination", "Overwrite",  "If",          "Depth",
                                               "Timeout",     "Lock-Token", "Content-Type"};
        QByteArray text = request.method + ' ' + request.target + '\n';
        for (const QByteArray &name : kept) {
            if (request.has(name.constData()))
                text += name + ": " + request.header(name.constData()) + '\n';
        }
        text += request.body;
        text.replace(server.url(QString()).toUtf8(), "$S");
        return text.toStdString();
    }

    TestServer server;
    std::shared_ptr<VDWebDAVConnect> session;
    std::optional<Error> error;
};
