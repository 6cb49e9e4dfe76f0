#pragma once

#include <QFile>
#include <QTemporaryDir>

#include "webdav/SessionFixture.h"

// A session on a folder of the test server, and a folder for local files.
class TransferFixture : public SessionFixture {
  protected:
    enum Kind { Standard, Vendor };

    void start(Kind kind) {
        if (kind == Vendor)
            server.makeVelmora();
        server.addFolder("/dav");
        connect("/dav");
    }

    QString localFile(const QByteArray &content) {
        QFile file(folder.filePath("local"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    // Domain and code, "-" without an error.
    static QString text(const std::optional<Error> &error) {
        return error ? QString("%1 %2").arg(error->domain).arg(error->code) : "-";
    }

    std::vector<std::string> wires(const QByteArray &method) const {
        std::vector<std::string> all;
        for (const RecordedRequest &request : server.requests(method))
            all.push_back(wire(request, {"Translate", "Range", "Content-Range", "Content-Length",
                                         "X-KQ-ENABLE-RESUME", "If"}));
        return all;
    }

    QTemporaryDir folder;
};
