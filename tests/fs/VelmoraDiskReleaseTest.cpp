#include <atomic>
#include <chrono>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include "VolumeFixture.h"
#include "common/Text.h"
#include "support/RecordingInterface.h"

namespace {

class Releasing : public VolumeFixture {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale(QLocale::English))); }

    // What the person was told since the last call.
    QStringList told() {
        QCoreApplication::processEvents();
        QStringList texts;
        for (const Alert &alert : std::exchange(person.alerts, {}))
            texts.append(alert.text);
        return texts;
    }

    static QString full(const QString &path) { return "/Volumes/Test" + path; }

    // Where a copy of that name goes; hidden ones aren't to be taken for a program's settings.
    static QString placeOf(const QString &name) {
        const QString folder = name.startsWith('.') ? "/.VelmoraDisk_Saved/" : "/";
        return QDir::homePath() + folder + name;
    }

    static QString message8(const QString &path, const QString &copy) {
        return localizedText("VelmoraDisk_8", full(path), placeOf(copy));
    }

    static QByteArray atHome(const QString &name) {
        QFile file(placeOf(name));
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }

    RecordingInterface person;
};

}  // namespace

// What each failure is told as, and whether a file that was empty before goes with it. A file that
// is new, or had content, stays.
TEST_F(Releasing, FailuresOfTheUpload) {
    server.makeVelmora();
    connect();
    const struct {
        Fault fault;
        const char *key;  // null: no message of its own
        bool deletes;
        QString file = QStringLiteral("file");
    } cases[] = {
        {{.status = 400}, "VelmoraDisk_7", false},
        {{.status = 401}, "VelmoraDisk_7", false},
        {{.status = 403}, "VelmoraDisk_7", false},
        {{.status = 403, .headers = {{"X-KQ-REFUSAL-EXTENSION", "exe"}}}, "VelmoraDisk_1", true},
        {{.status = 404}, "VelmoraDisk_7", false},
        {{.status = 409}, "VelmoraDisk_7", false},
        {{.status = 412}, "VelmoraDisk_7", false},
        {{.status = 413}, "VelmoraDisk_10", true},
        {{.status = 415}, "VelmoraDisk_3", true},
        {{.status = 423}, "VelmoraDisk_4", true},
        {{.status = 500}, "VelmoraDisk_2", true},
        {{.status = 502}, "VelmoraDisk_7", false},
        {{.status = 503}, "VelmoraDisk_2", true},
        {{.status = 507}, "VelmoraDisk_6", true},
        {{.status = 507}, nullptr, true, "._file"},
        {{.status = 507}, nullptr, true, ".DS_Store"},
        {{.close = true}, "VelmoraDisk_5", false},
    };
    int number = 0;
    for (const auto &one : cases) {
        const QString folder = QStringLiteral("/%1").arg(number++);
        server.addFile(folder + "/empty/" + one.file, "");
        server.addFile(folder + "/full/" + one.file, "content");
        server.addFolder(folder + "/new");
        for (const char *kind : {"/empty/", "/full/", "/new/"}) {
            const QString path = folder + kind + one.file;
            SCOPED_TRACE(path.toStdString() + " " + std::to_string(one.fault.status));
            Fault fault = one.fault;
            fault.method = "PUT";
            fault.path = path;
            fault.times = Fault::kAlways;
            server.fault(fault);
            EXPECT_EQ(put(path, "CONTENT!"), 0);
            const QStringList texts = told();
            QStringList expected = {message8(path, one.file)};
            if (one.key) {
                const QByteArray key(one.key);
                QString text = localizedText(one.key);
                text = key == "VelmoraDisk_1" ? text.arg("exe") : text.arg(full(path), "Test");
                if (!localizedText(one.key).contains("%2") && key != "VelmoraDisk_1")
                    text = localizedText(one.key, full(path));
                expected.prepend(text);
            }
            EXPECT_EQ(texts, expected);
            EXPECT_EQ(atHome(one.file), "CONTENT!");
            QFile::remove(placeOf(one.file));
            EXPECT_TRUE(server.lockToken(path).isNull());
            if (QByteArray(kind) == "/empty/") {
                EXPECT_EQ(server.exists(path), !one.deletes);
            }
            if (QByteArray(kind) == "/full/") {
                EXPECT_EQ(server.content(path), "content");
            }
        }
    }
}

TEST_F(Releasing, AFullQuotaIsNotWaitedFor) {
    server.makeVelmora();
    server.setQuotaAnswer("0/0");
    connect();
    for (const char *name : {"file", "._file", ".DS_Store"}) {
        const QString path = '/' + QString(name);
        EXPECT_EQ(put(path, "content"), 0);
        QStringList expected = {message8(path, name)};
        if (QByteArray(name) == "file")
            expected.prepend(localizedText("VelmoraDisk_6", full(path)));
        EXPECT_EQ(told(), expected);
        EXPECT_EQ(atHome(name), "content");
        QFile::remove(placeOf(name));
    }
    EXPECT_EQ(server.countOf("PUT"), 0);
}

TEST_F(Releasing, ACopyAtHomeReplacesNothing) {
    connect();
    for (const char *folder : {"/a", "/b", "/c"})
        server.addFolder(folder);
    server.fault({.method = "PUT", .times = Fault::kAlways, .status = 507});
    QStringList copies;
    for (const char *path : {"/a/report.txt", "/b/report.txt", "/c/report.txt"}) {
        EXPECT_EQ(put(path, QByteArray("of ") + path), 0);
        const QStringList texts = told();
        ASSERT_EQ(texts.size(), 2);
        for (const QString &name : QDir::home().entryList(QDir::Files)) {
            if (texts[1] == message8(path, name)) {
                EXPECT_EQ(atHome(name), QByteArray("of ") + path);
                copies.append(name);
            }
        }
    }
    EXPECT_EQ(QSet<QString>(copies.begin(), copies.end()).size(), 3);
    for (const QString &name : copies)
        QFile::remove(QDir::homePath() + '/' + name);
}

TEST_F(Releasing, TheSmallestFileIsKeptToo) {
    connect();
    server.fault({.method = "PUT", .times = Fault::kAlways, .status = 503});
    EXPECT_EQ(put("/flag", "1"), 0);
    EXPECT_EQ(told().last(), message8("/flag", "flag"));
    EXPECT_EQ(atHome("flag"), "1");
    QFile::remove(QDir::homePath() + "/flag");
    EXPECT_EQ(put("/empty", ""), 0);
    EXPECT_EQ(told().size(), 1) << "an empty file has no byte to lose";
}

// What was learnt of the path goes with a failed upload, and its queue is held for 5 seconds; both
// are kept. Other paths don't wait.
TEST_F(Releasing, AfterAFailureTheServerIsAskedAgain) {
    server.addFile("/file", "content");
    connect();
    server.fault({.method = "PUT", .status = 507});
    EXPECT_EQ(put("/file", "CONTENT and more"), 0);
    server.clearRequests();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(put("/other", "bytes"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(sizeOf("/file"), 7);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(7));
    EXPECT_GE(server.countOf("PROPFIND", "/file"), 1);
    EXPECT_EQ(put("/file", "again"), 0);
    EXPECT_EQ(server.content("/file"), "againnt");
    told();
    QFile::remove(QDir::homePath() + "/file");
}

TEST_F(Releasing, AFailedLookAfterTheUploadIsNoLoss) {
    connect();
    server.addFile("/file", "content");
    const HandlePtr handle = open("/file", O_RDWR);
    ASSERT_TRUE(handle);
    EXPECT_EQ(write("/file", handle, 7, "+more"), 5);
    server.fault({.method = "PROPFIND", .path = "/file", .times = Fault::kAlways, .status = 500});
    release("/file", handle);
    server.clearFaults();
    EXPECT_EQ(server.content("/file"), "content+more");
    EXPECT_TRUE(server.lockToken("/file").isNull());
    EXPECT_EQ(told(), QStringList());
    const HandlePtr again = open("/file");
    ASSERT_TRUE(again);
    EXPECT_EQ(sizeOf("/file"), 12);
    EXPECT_EQ(read("/file", again, 0, 100), "content+more");
}

// With a record each, the third would start its copy in the very file that the second writes.
TEST_F(Releasing, HandlesShareAFileWhoseLookFailed) {
    server.addFile("/file", "abcdef");
    connect();
    const HandlePtr first = open("/file", O_RDWR);
    const HandlePtr second = open("/file", O_RDWR);
    EXPECT_EQ(write("/file", first, 0, "1"), 1);
    server.fault({.method = "PROPFIND", .path = "/file", .times = Fault::kAlways, .status = 500});
    release("/file", first);
    server.clearFaults();
    EXPECT_EQ(write("/file", second, 1, "2"), 1);
    const HandlePtr third = open("/file", O_RDWR);
    ASSERT_TRUE(third);
    EXPECT_EQ(write("/file", third, 2, "3"), 1);
    release("/file", second);
    release("/file", third);
    EXPECT_EQ(server.content("/file"), "123def");
    EXPECT_TRUE(server.lockToken("/file").isNull());
}

TEST_F(Releasing, TheUploadIsUnderTheLockOfThatMoment) {
    server.addFile("/file", "content");
    connect();
    const HandlePtr handle = open("/file", O_RDWR);
    EXPECT_EQ(write("/file", handle, 0, "C"), 1);
    server.dropLock("/file");
    release("/file", handle);
    EXPECT_TRUE(server.content("/file") == "Content" || atHome("file") == "Content");
    EXPECT_TRUE(server.lockToken("/file").isNull());
    told();
    QFile::remove(QDir::homePath() + "/file");
}

// The server forgot the lock and gave it to somebody else, who wrote: both versions stay.
TEST_F(Releasing, SomebodyElseTookTheForgottenLock) {
    server.addFile("/file", "content");
    connect();
    const HandlePtr handle = open("/file", O_RDWR);
    EXPECT_EQ(write("/file", handle, 0, "C"), 1);
    server.dropLock("/file");
    server.addFile("/file", "theirs");
    const QByteArray theirs = server.lockAs("/file", "somebody");
    release("/file", handle);
    EXPECT_EQ(server.content("/file"), "theirs");
    EXPECT_EQ(server.lockToken("/file"), theirs);
    EXPECT_EQ(atHome("file"), "Content");
    EXPECT_EQ(told().last(), message8("/file", "file"));
    QFile::remove(QDir::homePath() + "/file");
}

// The renewal failed while the file was open, and the lock was given up. At the close it is taken
// again, and what others wrote meanwhile stays.
TEST_F(Releasing, ALockGivenUpAtItsRenewal) {
    const struct {
        const char *event;
        Fault fault;
        const char *key;
        bool isSent;
    } cases[] = {
        {"refused", {.status = 403}, "VDLockController_2", true},
        {"unreachable", {.close = true}, "VDLockController_3", true},
        {"changed", {.status = 403}, "VDLockController_2", false},
        {"taken", {}, "VDLockController_0", false},
    };
    const auto clock = std::make_shared<std::atomic<qint64>>(1000);
    lockTiming.now = [clock] { return std::chrono::milliseconds(*clock); };
    lockTiming.pauseBetweenPasses = std::chrono::milliseconds(5);
    connect();
    for (const auto &one : cases) {
        const QString name = one.event;
        const QString path = '/' + name;
        SCOPED_TRACE(one.event);
        server.addFile(path, "content");
        const HandlePtr handle = open(path, O_RDWR);
        ASSERT_TRUE(handle);
        EXPECT_EQ(write(path, handle, 0, "C"), 1);
        for (const char *method : {"LOCK", "UNLOCK"}) {
            Fault fault = one.fault;
            fault.method = method;
            fault.times = Fault::kAlways;
            if (fault.close || (fault.status && fault.method == "LOCK"))
                server.fault(fault);
        }
        if (name == "changed" || name == "taken") {
            server.dropLock(path);
            server.addFile(path, "theirs!");
        }
        if (name == "taken")
            server.lockAs(path, "somebody");
        *clock += 150000;
        QStringList texts;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (texts.isEmpty() && std::chrono::steady_clock::now() < limit)
            texts = told();
        EXPECT_EQ(texts, QStringList(localizedText(one.key, "/Volumes/Test", path, "Test")));
        server.clearFaults();
        release(path, handle);
        EXPECT_EQ(server.content(path), one.isSent ? "Content" : "theirs!");
        EXPECT_EQ(atHome(name), one.isSent ? QByteArray() : "Content");
        EXPECT_EQ(server.lockToken(path).isNull(), name != "taken");
        told();
        QFile::remove(QDir::homePath() + '/' + name);
    }
}
