#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "fs/VelmoraDisk.h"
#include "http/ASHttpConnectInfo.h"
#include "lock/VDLockController.h"
#include "support/TestServer.h"
#include "webdav/VDWebDAVConnect.h"

// A volume over the test server, called as its host would call it, in a home of its own.
class VolumeFixture : public testing::Test {
  protected:
    VolumeFixture() { qputenv("HOME", home.path().toUtf8()); }
    ~VolumeFixture() override { qputenv("HOME", commonHome); }

    // Logs in; to be called once the server is as the test wants it.
    void connect() {
        session =
            std::make_shared<VDWebDAVConnect>(std::make_shared<ASHttpConnectInfo>(), server.url());
        std::optional<Error> failure;
        ASSERT_TRUE(session->IsDAVServer(QString(), &failure));
        disk = std::make_shared<VelmoraDisk>(session, std::weak_ptr<MountOwner>(),
                                             QStringLiteral("/Volumes/Test"),
                                             QStringLiteral("Test"), lockTiming);
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

    // As the host does it: it asks for the name first.
    HandlePtr create(const QString &path) {
        attributesErrno(path);
        HandlePtr handle;
        failure.reset();
        disk->createFileAtPath(path, {{NSFilePosixPermissions, 0644}}, 0, &handle, &failure);
        return handle;
    }

    // The bytes taken, -1 with the error in failure.
    int write(const QString &path, const HandlePtr &handle, qint64 offset, const QByteArray &data) {
        failure.reset();
        return disk->writeFileAtPath(path, handle, data.constData(),
                                     static_cast<size_t>(data.size()), offset, &failure);
    }

    void release(const QString &path, const HandlePtr &handle) {
        disk->releaseFileAtPath(path, handle);
    }

    // Opens (or creates), writes and closes. The errno of the first step that failed, 0 for none.
    int put(const QString &path, const QByteArray &data, qint64 offset = 0) {
        const bool exists = attributesErrno(path) == 0;
        const HandlePtr handle = exists ? open(path, O_RDWR) : create(path);
        if (!handle)
            return code();
        const bool written = data.isEmpty() || write(path, handle, offset, data) == data.size();
        const int result = written ? 0 : code();
        release(path, handle);
        return result;
    }

    // The errno of the last call's failure, 0 where it set no error.
    int code() const { return failure ? failure->code : 0; }

    qint64 sizeOf(const QString &path, const HandlePtr &handle = nullptr) {
        const auto attributes = disk->attributesOfItemAtPath(path, handle, nullptr);
        return attributes ? attributes->value(NSFileSize).toLongLong() : -1;
    }

    // "METHOD /path" of each request since the last call.
    QStringList asked() {
        QStringList list;
        for (const RecordedRequest &request : server.requests())
            list.append(QString::fromLatin1(request.method) + QLatin1Char(' ') + request.path());
        server.clearRequests();
        return list;
    }

    const QByteArray commonHome = qgetenv("HOME");
    const QTemporaryDir home;
    LockTiming lockTiming = LockTiming::ofThisComputer();
    TestServer server;
    std::shared_ptr<VDWebDAVConnect> session;
    std::shared_ptr<VelmoraDisk> disk;
    std::optional<Error> failure;
};
