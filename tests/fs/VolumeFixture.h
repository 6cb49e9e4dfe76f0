#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include "fs/VelmoraDisk.h"
#include "http/ASHttpConnectInfo.h"
#include "support/TestServer.h"
#include "webdav/VDWebDAVConnect.h"

// A volume over the test server, called as its host would call it.
class VolumeFixture : public testing::Test {
  protected:
    // Logs in; to be called once the server is as the test wants it.
    void connect() {
        session =
            std::make_shared<VDWebDAVConnect>(std::make_shared<ASHttpConnectInfo>(), server.url());
        std::optional<Error> failure;
        ASSERT_TRUE(session->IsDAVServer(QString(), &failure));
        disk =
            std::make_shared<VelmoraDisk>(session, std::weak_ptr<MountOwner>(),
                                          QStringLiteral("/Volumes/Test"), QStringLiteral("Test"));
        server.clearRequests();
    }

    void TearDown() override {
        if (disk)
            disk->mountError();
    }

    // The errno of an attribute query, 0 when it answered, -1 when it failed without an error.
    int attributesErrno(const QString &path) {
        std::optional<Error> failure;
        const auto attributes = disk->attributesOfItemAtPath(path, nullptr, &failure);
        return attributes ? 0 : failure ? failure->code : -1;
    }

    HandlePtr open(const QString &path, int mode = O_RDONLY) {
        HandlePtr handle;
        failure.reset();
        disk->openFileAtPath(path, mode, &handle, &failure);
        return handle;
    }

    // What a read gives; null where it failed, with the error in failure.
    QByteArray read(const QString &path, const HandlePtr &handle, qint64 offset, int size) {
        QByteArray buffer(size, '\0');
        failure.reset();
        const int count = disk->readFileAtPath(path, handle, buffer.data(),
                                               static_cast<size_t>(size), offset, &failure);
        if (count < 0)
            return {};
        buffer.resize(count);
        return buffer.isNull() ? QByteArray("") : buffer;
    }

    TestServer server;
    std::shared_ptr<VDWebDAVConnect> session;
    std::shared_ptr<VelmoraDisk> disk;
    std::optional<Error> failure;
};
