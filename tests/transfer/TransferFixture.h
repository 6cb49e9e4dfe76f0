#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "http/ASHttpConnectInfo.h"
#include "support/TestServer.h"
#include "webdav/VDWebDAVConnect.h"

// A session with the test server, and a folder for local files.
class TransferFixture : public testing::Test {
  protected:
    enum Kind { Standard, Vendor };

    void connect(Kind kind) {
        if (kind == Vendor)
            server.makeVelmora();
        session = std::make_shared<VDWebDAVConnect>(std::make_shared<ASHttpConnectInfo>(),
                                                    server.url("/dav"));
        server.addFolder("/dav");
        ASSERT_TRUE(session->IsDAVServer(QString(), nullptr));
        ASSERT_EQ(session->isVelmora(), kind == Vendor);
        server.clearRequests();
    }

    QString localFile(const QByteArray &content, const QString &name = "local") {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    static QByteArray contentOf(const QString &path) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

    // Domain and code, "-" without an error.
    static QString text(const std::optional<Error> &error) {
        return error ? QString("%1 %2").arg(error->domain).arg(error->code) : "-";
    }

    // "PUT /target", a line for each field that tells something, and the body; "$S" stands for the
    // server's scheme, host and port.
    std::string wire(const RecordedRequest &request) const {
        QByteArray text = request.method + ' ' + request.target + '\n';
        for (const char *name : {"Translate", "Range", "Content-Range", "Content-Length",
                                 "X-KQ-ENABLE-RESUME", "If"}) {
            if (request.has(name))
                text += QByteArray(name) + ": " + request.header(name) + '\n';
        }
        text += request.body;
        text.replace(server.url(QString()).toUtf8(), "$S");
        return text.toStdString();
    }
    std::vector<std::string> wires(const QByteArray &method) const {
        std::vector<std::string> all;
        for (const RecordedRequest &request : server.requests(method))
            all.push_back(wire(request));
        return all;
    }

    TestServer server;
    QTemporaryDir folder;
    std::shared_ptr<VDWebDAVConnect> session;
    std::optional<Error> error;
};
