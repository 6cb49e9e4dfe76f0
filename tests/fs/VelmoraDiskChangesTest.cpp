#include <QDir>

#include "VolumeFixture.h"

namespace {

// What a status, or a cut connection, becomes.
struct Answer {
    int status;  // 0: the connection is closed
    int expected;
    bool refusal = false;
};

class Changing : public VolumeFixture {
  protected:
    static Fault faultOf(const char *method, const Answer &answer) {
        Fault fault{.method = method, .status = answer.status};
        if (answer.status == 0) {
            fault.times = Fault::kAlways;
            fault.close = true;
        }
        if (answer.refusal)
            fault.headers = {{"X-KQ-REFUSAL-EXTENSION", "exe"}};
        return fault;
    }

    // Runs the operation once for each answer; the argument is the number of the run.
    void expectErrors(const char *method, const QList<Answer> &answers,
                      const std::function<bool(const QString &number)> &operation) {
        int number = 0;
        for (const Answer &answer : answers) {
            failure.reset();
            server.fault(faultOf(method, answer));
            EXPECT_EQ(operation(QString::number(number++)), answer.expected == 0)
                << method << ' ' << answer.status;
            EXPECT_EQ(code(), answer.expected) << method << ' ' << answer.status;
            server.clearFaults();
        }
    }

    int move(const QString &from, const QString &to) {
        failure.reset();
        return disk->moveItemAtPath(from, to, &failure) ? 0 : code();
    }

    int remove(const QString &path) {
        failure.reset();
        return disk->removeItemAtPath(path, &failure) ? 0 : code();
    }

    int makeDirectory(const QString &path) {
        failure.reset();
        return disk->createDirectoryAtPath(path, {{NSFilePosixPermissions, 0755}}, &failure)
                   ? 0
                   : code();
    }
};

}  // namespace

TEST_F(Changing, AnswersToAMove) {
    server.makeVelmora();
    connect();
    for (int number = 0; number < 15; ++number)
        server.addFile(QStringLiteral("/m%1").arg(number), "x");
    const QList<Answer> answers = {
        {207, EBUSY},     {400, EINVAL}, {401, EEXIST},    {403, EROFS},  {403, EINVAL, true},
        {404, ENOENT},    {405, EEXIST}, {409, ENOTDIR},   {412, EEXIST}, {423, EBUSY},
        {500, EHOSTDOWN}, {502, EEXIST}, {503, EHOSTDOWN}, {507, EEXIST}, {0, ENETUNREACH},
    };
    expectErrors("MOVE", answers, [this](const QString &number) {
        return disk->moveItemAtPath("/m" + number, "/to" + number, &failure);
    });
    for (int number = 0; number < 15; ++number)
        EXPECT_TRUE(server.exists(QStringLiteral("/m%1").arg(number)));
}

TEST_F(Changing, AnswersToANewFolder) {
    connect();
    const QList<Answer> answers = {
        {207, ENOENT},    {400, EINVAL},  {401, ENOENT}, {403, EROFS}, {404, ENOENT},
        {405, EEXIST},    {409, ENOTDIR}, {415, ENOENT}, {423, EBUSY}, {500, EHOSTDOWN},
        {503, EHOSTDOWN}, {507, ENOSPC},  {0, ENOENT},
    };
    expectErrors("MKCOL", answers, [this](const QString &number) {
        return disk->createDirectoryAtPath("/dir" + number, {}, &failure);
    });
}

TEST_F(Changing, AnswersToARemoval) {
    connect();
    const QList<Answer> answers = {
        {207, EBUSY}, {400, EACCES},    {401, EACCES},    {403, EROFS},  {404, 0},
        {423, EBUSY}, {500, EHOSTDOWN}, {503, EHOSTDOWN}, {507, EACCES}, {0, ENETUNREACH},
    };
    for (int number = 0; number < answers.size(); ++number) {
        const QString path = QStringLiteral("/r%1").arg(number);
        server.addFile(path, "x");
        ASSERT_EQ(attributesErrno(path), 0);
    }
    expectErrors("DELETE", answers, [this](const QString &number) {
        return disk->removeItemAtPath("/r" + number, &failure);
    });
}

TEST_F(Changing, MovesAreSeenEverywhere) {
    server.addFile("/from/file", "content");
    server.addFile("/from/deep/er/file", "deep");
    server.addFile("/to/old", "old");
    server.addFolder("/to/folder");
    connect();
    for (const char *folder : {"/from", "/from/deep", "/from/deep/er", "/to"}) {
        ASSERT_EQ(attributesErrno(folder), 0);
        disk->contentsOfDirectoryAtPath(folder, nullptr);
    }
    for (const char *file : {"/from/file", "/from/deep/er/file", "/to/old"}) {
        const HandlePtr handle = open(file);
        EXPECT_FALSE(read(file, handle, 0, 100).isNull());
        release(file, handle);
    }
    EXPECT_EQ(move("/from/file", "/to/old"), 0) << "over an existing file";
    EXPECT_EQ(move("/from/deep", "/to/moved"), 0);
    EXPECT_EQ(server.content("/to/old"), "content");
    EXPECT_EQ(server.content("/to/moved/er/file"), "deep");
    const struct {
        const char *path;
        const char *content;  // null: gone
    } cases[] = {{"/from/file", nullptr},
                 {"/to/old", "content"},
                 {"/from/deep", nullptr},
                 {"/to/moved/er/file", "deep"}};
    for (const auto &one : cases) {
        EXPECT_EQ(attributesErrno(one.path), one.content ? 0 : ENOENT) << one.path;
        const HandlePtr handle = open(one.path);
        EXPECT_EQ(bool(handle), one.content != nullptr) << one.path;
        if (!handle)
            continue;
        EXPECT_EQ(read(one.path, handle, 0, 100), one.content) << one.path;
        release(one.path, handle);
    }
    EXPECT_EQ(disk->contentsOfDirectoryAtPath("/from", nullptr).value_or(QStringList("?")),
              QStringList());
    QStringList names = disk->contentsOfDirectoryAtPath("/to", nullptr).value_or(QStringList());
    names.sort();
    EXPECT_EQ(names, QStringList({"folder", "moved", "old"}));
    server.clearRequests();
    EXPECT_EQ(move("/to/old", "/to/old"), EINVAL);
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(Changing, RemovalsAndNewFoldersAreSeenAtOnce) {
    server.addFile("/dir/file", "content");
    connect();
    attributesErrno("/dir");
    disk->contentsOfDirectoryAtPath("/dir", nullptr);
    ASSERT_EQ(attributesErrno("/dir/file"), 0);
    EXPECT_EQ(remove("/dir/file"), 0);
    EXPECT_FALSE(server.exists("/dir/file"));
    EXPECT_EQ(makeDirectory("/dir/sub"), 0);
    EXPECT_EQ(makeDirectory("/dir/sub"), EEXIST);
    EXPECT_EQ(disk->contentsOfDirectoryAtPath("/dir", nullptr).value_or(QStringList()),
              QStringList("sub"));
    EXPECT_EQ(attributesErrno("/dir/file"), ENOENT);
    EXPECT_EQ(attributesErrno("/dir/sub"), 0);
    EXPECT_EQ(put("/dir/sub/new", "new"), 0);
    EXPECT_EQ(server.content("/dir/sub/new"), "new");
    EXPECT_EQ(put("/dir/file", "again"), 0);
    EXPECT_EQ(server.content("/dir/file"), "again");
    failure.reset();
    EXPECT_FALSE(disk->removeDirectoryAtPath("/dir/sub", &failure));
    EXPECT_EQ(code(), ENOTEMPTY) << "the server would take the content along";
    EXPECT_EQ(remove("/dir/sub/new"), 0);
    EXPECT_TRUE(disk->removeDirectoryAtPath("/dir/sub", &failure));
    EXPECT_FALSE(server.exists("/dir/sub"));
    EXPECT_EQ(attributesErrno("/dir/sub"), ENOENT);
    server.clearRequests();
    EXPECT_EQ(remove("/dir/sub"), 0);
    EXPECT_EQ(server.countOf("DELETE"), 0) << "what is known to be gone needs no request";
}

// Both ends of a move may be locked by this volume's own handles.
TEST_F(Changing, OpenFilesMoveWithTheirBytes) {
    for (const bool locking : {true, false}) {
        server.setDialect([locking](TestServer::Dialect &dialect) { dialect.locking = locking; });
        connect();
        for (const bool created : {true, false}) {
            for (const bool written : {true, false}) {
                const QString id = QString("%1%2%3").arg(locking).arg(created).arg(written);
                SCOPED_TRACE("locking, created, written: " + id.toStdString());
                const QString from = "/folder" + id + "/from";
                const QString middle = "/folder" + id + "/to";
                const QString to = "/moved" + id + "/to";
                server.addFolder("/folder" + id);
                if (!created)
                    server.addFile(from, "before");
                const HandlePtr handle = created ? create(from) : open(from, O_RDWR);
                ASSERT_TRUE(handle);
                QByteArray expected = created ? "" : "before";
                if (written) {
                    EXPECT_EQ(write(from, handle, 0, "WRITTEN"), 7);
                    expected = "WRITTEN";
                }
                ASSERT_EQ(move(from, middle), 0);
                EXPECT_EQ(read(middle, handle, 0, 100), expected);
                ASSERT_EQ(move("/folder" + id, "/moved" + id), 0);
                EXPECT_EQ(read(to, handle, 0, 100), expected);
                if (written) {
                    EXPECT_EQ(write(to, handle, 7, "+more"), 5);
                    expected += "+more";
                }
                release(to, handle);
                EXPECT_EQ(server.content(to), expected);
                for (const QString &gone : {from, middle})
                    EXPECT_FALSE(server.exists(gone)) << gone.toStdString();
                EXPECT_TRUE(server.lockToken(to).isNull());
                EXPECT_EQ(sizeOf(to), expected.size());
            }
        }
        disk->mountError();
    }
}

// As editors save: the new version under a name of its own, then over the old one, which somebody
// may have open.
TEST_F(Changing, AVersionMovedOverAnOpenFile) {
    server.addFile("/file", "old content");
    connect();
    const HandlePtr reader = open("/file");
    EXPECT_EQ(read("/file", reader, 0, 3), "old");
    ASSERT_EQ(put("/file.tmp", "new"), 0);
    ASSERT_EQ(move("/file.tmp", "/file"), 0);
    release("/file", reader);
    EXPECT_EQ(server.content("/file"), "new");
    const HandlePtr again = open("/file");
    EXPECT_EQ(read("/file", again, 0, 100), "new");
    EXPECT_EQ(sizeOf("/file"), 3);
    release("/file", again);

    const HandlePtr writer = open("/file", O_RDWR);
    ASSERT_TRUE(writer);
    EXPECT_EQ(write("/file", writer, 0, "unsent"), 6);
    ASSERT_EQ(put("/file.tmp", "newest"), 0);
    ASSERT_EQ(move("/file.tmp", "/file"), 0);
    release("/file", writer);
    EXPECT_EQ(server.content("/file"), "newest") << "a late close doesn't bring the old file back";
    EXPECT_TRUE(server.lockToken("/file").isNull());
}

// Moved over the file before it is closed.
TEST_F(Changing, AnOpenFileMovedOverAnother) {
    for (const bool locking : {true, false}) {
        server.setDialect([locking](TestServer::Dialect &dialect) { dialect.locking = locking; });
        connect();
        for (const bool fails : {true, false}) {
            SCOPED_TRACE(QString("locking %1, fails %2").arg(locking).arg(fails).toStdString());
            const QString path = QStringLiteral("/file%1%2").arg(locking).arg(fails);
            server.addFile(path, "old content");
            const HandlePtr handle = create(path + ".tmp");
            ASSERT_TRUE(handle);
            EXPECT_EQ(write(path + ".tmp", handle, 0, "new"), 3);
            ASSERT_EQ(move(path + ".tmp", path), 0);
            EXPECT_EQ(read(path, handle, 0, 100), "new");
            EXPECT_EQ(server.content(path), "old content") << "whole until it is replaced whole";
            if (fails)
                server.fault({.method = "PUT", .times = Fault::kAlways, .status = 507});
            release(path, handle);
            server.clearFaults();
            EXPECT_EQ(server.content(path), fails ? "old content" : "new");
            EXPECT_FALSE(server.exists(path + ".tmp"));
            EXPECT_TRUE(server.lockToken(path).isNull());
        }
        disk->mountError();
    }
}

TEST_F(Changing, ARemovedFileStaysRemoved) {
    server.addFile("/old", "content");
    connect();
    for (const char *path : {"/old", "/new"}) {
        const HandlePtr handle = QByteArray(path) == "/old" ? open(path, O_RDWR) : create(path);
        ASSERT_TRUE(handle) << path;
        EXPECT_EQ(write(path, handle, 0, "unsent"), 6);
        EXPECT_EQ(remove(path), 0);
        EXPECT_EQ(attributesErrno(path), ENOENT);
        EXPECT_EQ(read(path, handle, 0, 100).left(6), "unsent") << path;
        release(path, handle);
        EXPECT_FALSE(server.exists(path)) << path;
        EXPECT_EQ(put(path, "another"), 0);
        EXPECT_EQ(server.content(path), "another");
    }
}

TEST_F(Changing, AFailedChangeChangesNothing) {
    server.addFile("/file", "content");
    server.addFile("/target", "target");
    connect();
    for (const char *path : {"/file", "/target"})
        ASSERT_EQ(attributesErrno(path), 0);
    const HandlePtr handle = open("/file", O_RDWR);
    EXPECT_EQ(write("/file", handle, 7, "+more"), 5);
    server.fault({.method = "MOVE", .status = 507});
    EXPECT_NE(move("/file", "/target"), 0);
    server.fault({.method = "DELETE", .times = Fault::kAlways, .status = 423});
    EXPECT_EQ(remove("/file"), EBUSY);
    server.clearFaults();
    EXPECT_EQ(read("/file", handle, 0, 100), "content+more");
    EXPECT_EQ(write("/file", handle, 12, "+last"), 5);
    release("/file", handle);
    EXPECT_EQ(server.content("/file"), "content+more+last") << "the bytes outlive a failed removal";
    EXPECT_EQ(server.content("/target"), "target");
}

// With the vendor's server, and with one without locks, a new file is nowhere but here.
TEST_F(Changing, AFolderWithANewFileIsNotEmpty) {
    for (const bool velmora : {false, true}) {
        server.setDialect([=](TestServer::Dialect &dialect) { dialect.locking = velmora; });
        if (velmora)
            server.makeVelmora();
        connect();
        const QString folder = QStringLiteral("/%1").arg(velmora);
        const QString file = folder + "/new";
        server.addFolder(folder);
        server.addFolder("/other");
        const HandlePtr handle = create(file);
        ASSERT_TRUE(handle);
        EXPECT_EQ(write(file, handle, 0, "bytes"), 5);
        EXPECT_EQ(disk->contentsOfDirectoryAtPath(folder, nullptr), QStringList("new"));
        EXPECT_FALSE(disk->removeDirectoryAtPath(folder, &failure));
        EXPECT_EQ(code(), ENOTEMPTY);
        EXPECT_EQ(move("/other", folder), ENOTEMPTY);
        release(file, handle);
        EXPECT_EQ(server.content(file), "bytes");
        disk->mountError();
    }
}

TEST_F(Changing, WhatNobodyAskedForIsNotTakenAlong) {
    server.addFile("/folder/theirs", "theirs");
    server.addFolder("/other");
    connect();
    EXPECT_EQ(move("/other", "/folder"), ENOTEMPTY);
    EXPECT_EQ(server.content("/folder/theirs"), "theirs");
    EXPECT_EQ(makeDirectory("/folder/theirs"), EEXIST);
    const auto attributes = disk->attributesOfItemAtPath("/folder/theirs", nullptr, nullptr);
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->value(NSFileType).toString(), NSFileTypeRegular);
}

// A reader's copy, made for the case that the file goes, isn't somebody's change.
TEST_F(Changing, AFailedChangeOfAFileThatIsRead) {
    connect();
    for (const char *method : {"MOVE", "DELETE"}) {
        SCOPED_TRACE(method);
        server.addFile("/file", "content");
        server.addFile("/source", "source");
        const HandlePtr reader = open("/file");
        server.fault({.method = method, .times = Fault::kAlways, .status = 403});
        EXPECT_EQ(QByteArray(method) == "MOVE" ? move("/source", "/file") : remove("/file"), EROFS);
        server.clearFaults();
        EXPECT_EQ(read("/file", reader, 0, 100), "content");
        const HandlePtr writer = open("/file", O_RDWR);
        ASSERT_TRUE(writer);
        release("/file", writer);
        release("/file", reader);
        EXPECT_EQ(server.countOf("PUT"), 0);
    }
    disk->mountError();
    EXPECT_EQ(QDir::home().entryList(QDir::Files), QStringList()) << "an unsent copy was found";
}

TEST_F(Changing, AQuestionThatFailsDeniesNothing) {
    connect();
    for (const int status : {401, 403, 404, 500, 0}) {
        SCOPED_TRACE(status);
        const QString path = QStringLiteral("/%1").arg(status);
        server.addFile(path, "content");
        Fault fault{.method = "PROPFIND", .path = path, .times = Fault::kAlways};
        fault.status = status;
        fault.close = status == 0;
        server.fault(fault);
        EXPECT_TRUE(remove(path) != 0 || status == 404 || !server.exists(path));
        if (status == 404)
            continue;
        server.addFile(path, "content");
        HandlePtr handle;
        EXPECT_FALSE(disk->createFileAtPath(path, {}, 0, &handle, &failure));
        EXPECT_NE(code(), 0);
        server.clearFaults();
        EXPECT_EQ(server.content(path), "content");
    }
}

// Somebody else removed the folder; what is made in its place isn't the reader's.
TEST_F(Changing, AReaderInAFolderThatWent) {
    server.addFile("/dir/file", "content");
    connect();
    attributesErrno("/dir");
    const HandlePtr reader = open("/dir/file");
    ASSERT_TRUE(reader);
    server.remove("/dir");
    EXPECT_TRUE(disk->removeDirectoryAtPath("/dir", &failure));
    EXPECT_NE(attributesErrno("/dir/file"), 0);
    EXPECT_EQ(makeDirectory("/dir"), 0);
    EXPECT_EQ(put("/dir/file", "another file"), 0);
    EXPECT_NE(read("/dir/file", reader, 0, 100), "another file");
    EXPECT_EQ(sizeOf("/dir/file", reader), 7);
    ASSERT_EQ(put("/new", "newest"), 0);
    EXPECT_EQ(move("/new", "/dir/file"), 0);
    release("/dir/file", reader);
    EXPECT_EQ(sizeOf("/dir/file"), 6);
}

// Another client made the first, the second's upload was refused. Neither copy is in the way.
TEST_F(Changing, AFolderInPlaceOfAFile) {
    connect();
    ASSERT_EQ(put("/theirs", "content"), 0);
    server.remove("/theirs");
    server.addFolder("/theirs/deep");
    server.fault({.method = "PUT", .status = 403});
    ASSERT_EQ(put("/ours", ""), 0);
    EXPECT_EQ(makeDirectory("/ours"), 0);
    for (const char *path : {"/theirs/deep/file", "/ours/file"}) {
        EXPECT_EQ(put(path, "content"), 0);
        EXPECT_EQ(server.content(path), "content");
    }
}
