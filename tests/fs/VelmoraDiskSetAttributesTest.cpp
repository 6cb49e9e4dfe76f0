#include "VolumeFixture.h"

namespace {

class SettingAttributes : public VolumeFixture {
  protected:
    int set(const QString &path, const AttributeMap &attributes,
            const HandlePtr &handle = nullptr) {
        failure.reset();
        return disk->setAttributes(attributes, path, handle, &failure) ? 0 : code();
    }

    const QDateTime date{{2021, 3, 4}, {5, 6, 7}, Qt::UTC};
};

}  // namespace

TEST_F(SettingAttributes, DatesGoToTheServerUnlessAnUploadWillCarryThem) {
    server.makeVelmora();
    server.addFile("/closed", "x");
    server.addFile("/open", "x");
    connect();
    ASSERT_EQ(attributesErrno("/closed"), 0);
    asked();
    EXPECT_EQ(set("/closed", {{NSFileModificationDate, date}, {NSFileCreationDate, date}}), 0);
    const RecordedRequest request = server.lastRequest();
    EXPECT_EQ(request.header("X-KQ-LastModified"), "Thu, 04 Mar 2021 05:06:07 +0000");
    EXPECT_EQ(request.header("X-KQ-CreationDate"), "Thu, 04 Mar 2021 05:06:07 +0000");
    EXPECT_EQ(asked(), QStringList("PROPPATCH /closed"));

    EXPECT_EQ(set("/closed", {{NSFilePosixPermissions, 0600}}), 0);
    EXPECT_EQ(asked(), QStringList()) << "a mode stays here";
    const auto attributes = disk->attributesOfItemAtPath("/closed", nullptr, nullptr);
    EXPECT_EQ(attributes->value(NSFileModificationDate).toDateTime(), date);
    EXPECT_EQ(attributes->value(NSFilePosixPermissions).toInt() & 0777, 0600);

    const HandlePtr handle = open("/open", O_RDWR);
    EXPECT_EQ(write("/open", handle, 1, "y"), 1);
    asked();
    EXPECT_EQ(set("/open", {{NSFileModificationDate, date}}, handle), 0);
    EXPECT_EQ(asked(), QStringList());
    release("/open", handle);
    EXPECT_EQ(server.lastRequest("PUT").header("X-KQ-LastModified"),
              "Thu, 04 Mar 2021 05:06:07 +0000");
    EXPECT_EQ(server.content("/open"), "xy");
}

TEST_F(SettingAttributes, RefusedDates) {
    server.makeVelmora();
    connect();
    const struct {
        Fault fault;
        int expected;
    } cases[] = {
        {{.status = 400}, ENOENT}, {{.status = 401}, ENOENT},    {{.status = 403}, EACCES},
        {{.status = 404}, ENOENT}, {{.status = 409}, EACCES},    {{.status = 423}, EBUSY},
        {{.status = 503}, ENOENT}, {{.status = 500}, EHOSTDOWN}, {{.close = true}, ENETUNREACH},
    };
    int number = 0;
    for (const auto &one : cases) {
        const QString path = QStringLiteral("/file%1").arg(number++);
        server.addFile(path, "x");
        ASSERT_EQ(attributesErrno(path), 0);
        Fault fault = one.fault;
        fault.method = "PROPPATCH";
        fault.path = path;
        fault.times = Fault::kAlways;
        server.fault(fault);
        EXPECT_EQ(set(path, {{NSFileModificationDate, date}}), one.expected) << one.fault.status;
        server.clearFaults();
    }
}

// Copying tools set dates on everything, and a standard server keeps none.
TEST_F(SettingAttributes, AStandardServerThatKeepsNoDatesIsNoError) {
    connect();
    for (const int status : {207, 200, 403, 405, 409, 501}) {
        const QString path = QStringLiteral("/file%1").arg(status);
        server.addFile(path, "x");
        ASSERT_EQ(attributesErrno(path), 0);
        server.fault(
            {.method = "PROPPATCH", .path = path, .times = Fault::kAlways, .status = status});
        EXPECT_EQ(set(path, {{NSFileModificationDate, date}}), 0) << status;
        server.clearFaults();
    }
}

TEST_F(SettingAttributes, NewSizes) {
    const QByteArray content = TestServer::generatedBytes(0, 200000);
    const struct {
        QByteArray before;
        bool writesFirst;
        qint64 size;
        QByteArray after;
    } cases[] = {
        {"content", false, 3, "con"},
        {"content", false, 0, ""},
        {"con", false, 5, QByteArray("con\0\0", 5)},
        {"", false, 2, QByteArray("\0\0", 2)},
        {"content", true, 3, "CON"},
        {"con", true, 5, QByteArray("CON\0\0", 5)},
        {content, false, 150000, content.left(150000)},
        {content, false, 200001, content + '\0'},
    };
    connect();
    int number = 0;
    for (const auto &one : cases) {
        const QString path = QStringLiteral("/file%1").arg(number++);
        SCOPED_TRACE(path.toStdString());
        server.addFile(path, one.before);
        const HandlePtr handle = open(path, O_RDWR);
        ASSERT_TRUE(handle);
        if (one.writesFirst) {
            EXPECT_EQ(write(path, handle, 0, "CON"), 3);
        }
        // Writing nothing makes the handle count as changed, and fetches what the new size cuts.
        if (one.size > 0) {
            EXPECT_EQ(write(path, handle, 0, ""), 0);
        }
        EXPECT_EQ(set(path, {{NSFileSize, one.size}}, handle), 0);
        if (one.size == 0) {
            EXPECT_EQ(write(path, handle, 0, ""), 0);
        }
        EXPECT_EQ(sizeOf(path, handle), one.size);
        EXPECT_EQ(read(path, handle, 0, int(one.size) + 10), one.after);
        release(path, handle);
        EXPECT_TRUE(server.content(path) == one.after);
        EXPECT_EQ(sizeOf(path), one.size);
    }
}

TEST_F(SettingAttributes, ASizeNeedsAHandleThatWrites) {
    server.addFile("/file", "content");
    connect();
    ASSERT_EQ(attributesErrno("/file"), 0);
    const HandlePtr reader = open("/file");
    EXPECT_EQ(set("/file", {{NSFileSize, 3}}, reader), EACCES);
    asked();
    set("/file", {{NSFileSize, 3}});
    EXPECT_EQ(asked(), QStringList());
    EXPECT_EQ(sizeOf("/file"), 7);
    release("/file", reader);
    EXPECT_EQ(server.content("/file"), "content");
}

// What was only cut is no version of the server's, whatever its size.
TEST_F(SettingAttributes, ASizeThatWasNeverSent) {
    connect();
    ASSERT_EQ(put("/file", "0123456789"), 0);
    HandlePtr handle = open("/file", O_RDWR);
    for (const qint64 size : {3, 10})
        EXPECT_EQ(set("/file", {{NSFileSize, size}}, handle), 0);
    release("/file", handle);
    handle = open("/file", O_RDWR);
    EXPECT_EQ(write("/file", handle, 0, "x"), 1);
    release("/file", handle);
    EXPECT_EQ(server.content("/file"), "x123456789");
}
