#include <functional>

#include "SessionFixture.h"
#include "webdav/ASWDCmd.h"

namespace {

enum Repeated { once, again };  // on 500, on 503 and without an answer

struct Operation {
    const char *name;
    const char *method;
    Repeated repeated;
    std::function<void(VDWebDAVConnect &, ErrorOut)> run;
    const char *velmora;             // "status:code ..."; "o" behind a code: with the status line
    const char *standard = nullptr;  // the same of other servers, where they differ
};

// 599 stands for any status without a row.
const char *const kUsual = "400:18o 401:1 403:7 404:6 405:13o 409:13o 500:11o 503:12o 599:13o";
const char *const kWithoutLine = "400:18o 401:1 403:7 404:6 405:13 409:13 500:11o 503:12o 599:13";
const QString kItem = QStringLiteral("/item");
const QStringList kNames = {"displayname"};
const QStringList kSpaces = {"DAV:"};

// A change says in its result as well whether it failed.
void told(bool done, ErrorOut failure) {
    EXPECT_EQ(done, !*failure);
}

LockPtr ownLock(const VDWebDAVConnect &session) {
    const auto lock = std::make_shared<LockDiscovery>();
    lock->isLock = true;
    lock->locktoken = QStringLiteral("t:1");
    lock->owner = session.user;
    return lock;
}

const Operation kOperations[] = {
    {"list", "PROPFIND", again, [](auto &s, auto e) { s.getFileList(kItem, e); }, kUsual},
    {"collection", "PROPFIND", again, [](auto &s, auto e) { s.getCollectionProperty(kItem, e); },
     kUsual},
    {"collection by name", "PROPFIND", again,
     [](auto &s, auto e) { s.getCollectionProperty(kItem, kNames, e); }, kWithoutLine},
    {"item", "PROPFIND", again, [](auto &s, auto e) { s.getItemProperty(kItem, e); }, kUsual},
    {"item by name", "PROPFIND", again,
     [](auto &s, auto e) { s.getItemProperty(kItem, kNames, kSpaces, e); }, kUsual},
    {"value", "PROPFIND", again,
     [](auto &s, auto e) { s.getItemProperty(kItem, kNames[0], kSpaces[0], e); }, kUsual},
    {"exists", "PROPFIND", once, [](auto &s, auto e) { s.fileExsits(kItem, e); }, kWithoutLine},
    {"head", "HEAD", once, [](auto &s, auto e) { s.headMethod(s.itemUrl(kItem).toString(), e); },
     "400:18o 401:1 403:7 404:6 405:19 409:9o 500:11o 503:12o 599:13o"},
    {"file", "GET", once, [](auto &s, auto e) { s.fileDownload("/dev/null", kItem, nullptr, e); },
     "400:13 401:1 403:7 404:6 405:13 409:13 500:11 503:12 599:13"},
    {"range", "GET", once, [](auto &s, auto e) { s.filePartDownloadWithSrcpath(kItem, 0, 9, e); },
     kUsual},
    {"digest", "HEAD", again, [](auto &s, auto e) { s.getMD5(kItem, 0, 9, e); }, kUsual},
    {"size", "PROPFIND", again, [](auto &s, auto e) { s.getFIleSize(kItem, 1, e); }, kUsual},
    {"read-only", "ACL", once, [](auto &s, auto e) { s.fileSetReadOnly(kItem, true, e); },
     "400:18 401:1 403:7 404:6 405:19o 409:9o 500:11o 503:12o 599:13o"},
    {"versions", "Report", once, [](auto &s, auto e) { s.getFileVersioning(kItem, kNames, e); },
     "400:13o 401:1 403:7 404:6 405:13o 500:13o 503:13o 599:13o"},
    {"post", "POST", again,
     [](auto &s, auto e) {
         s.postMethod(s.itemUrl(kItem).toString(), {{"a", 1}}, e);
     },
     "400:18o 401:1 403:7 404:6 405:19o 409:9o 500:11o 503:12o 599:13"},
    {"move", "MOVE", once, [](auto &s, auto e) { told(s.fileMoveFrom(kItem, "/b", e), e); },
     "201:- 204:- 200:13o 207:3 400:18o 401:13o 403:7 404:6 405:13o 409:9o 412:13o 415:13o 423:3 "
     "500:11o 502:14o 503:12o 507:13o",
     "200:- 201:- 204:- 207:3 412:13o"},
    {"copy", "COPY", once, [](auto &s, auto e) { told(s.fileCopyFrom(kItem, "/b", true, e), e); },
     "201:- 204:- 200:12 207:12 400:18 401:12 403:7 404:6 405:12 409:9 415:12 423:12 500:11 "
     "502:14 503:12 507:12"},
    {"delete", "DELETE", once, [](auto &s, auto e) { told(s.fileDelete(kItem, e), e); },
     "204:- 200:13o 207:3 400:18o 401:1 403:7 404:6 405:13o 409:13o 423:3 500:12o 502:13o "
     "503:11o 507:13o",
     "200:- 204:- 207:3"},
    {"make folder", "MKCOL", once, [](auto &s, auto e) { told(s.fileMakeDirectory(kItem, e), e); },
     "201:- 200:13o 207:13o 400:18o 401:1 403:7 404:13o 405:8 409:9o 415:13o 423:3 500:11o "
     "502:13o 503:12o 507:10o",
     "201:- 204:- 207:13o"},
    {"set property", "PROPPATCH", again,
     [](auto &s, auto e) { s.putProperty(kItem, "p", "v", "urn:z", e); },
     "200:- 207:- 201:13o 400:18o 401:1 403:7 404:6 409:9o 415:13o 423:3 500:11o 503:12o 507:13o",
     "200:- 204:- 207:- 202:13o"},
    {"lock", "LOCK", once, [](auto &s, auto e) { told(s.fileLock(kItem, e), e); },
     "400:18o 401:1 403:7 404:6 409:13 412:13 423:3 500:12o 503:11o 507:10o"},
    {"unlock", "UNLOCK", once, [](auto &s, auto e) { s.fileUnlock(kItem, ownLock(s), e); },
     "400:18o 401:1 403:7 404:6 409:13o 412:13o 423:3 500:12o 503:11o 507:13o"},
    // The last: it makes the session anew.
    {"discovery", "OPTIONS", again,
     [](auto &s, auto e) { told(s.IsDAVServer(QString(), true, e), e); },
     "400:18o 403:7o 404:13o 500:11o 503:12o 507:13o"},
};

class StatusesTest : public SessionFixture {
  protected:
    void expectCodes(const Operation &operation, const char *codes) {
        for (const QString &entry : QString(codes).split(' ')) {
            SCOPED_TRACE(operation.name + (' ' + entry.toStdString()));
            const int status = entry.section(':', 0, 0).toInt();
            server.clearRequests();
            server.clearFaults();
            server.fault({.method = operation.method, .times = Fault::kAlways, .status = status});
            operation.run(*session, forget());
            EXPECT_EQ(codeText(), entry.section(':', 1).toStdString());
            const bool isRepeated = operation.repeated && (status == 500 || status == 503);
            EXPECT_EQ(server.countOf(operation.method), isRepeated ? 5 : 1);
        }
    }
};

TEST_F(StatusesTest, EveryStatusBecomesItsCode) {
    connectToVelmora();
    server.addFile(kItem, "x");
    for (const Operation &operation : kOperations)
        expectCodes(operation, operation.velmora);
}

TEST_F(StatusesTest, OtherServersChooseTheirStatusOfSuccess) {
    connect();
    for (const Operation &operation : kOperations) {
        if (operation.standard)
            expectCodes(operation, operation.standard);
    }
}

TEST_F(StatusesTest, ADeadServerIsAskedAsOftenAsABusyOne) {
    useFreshConnections();
    connectToVelmora();
    for (const Operation &operation : kOperations) {
        SCOPED_TRACE(operation.name);
        server.clearRequests();
        server.clearFaults();
        server.fault({.method = operation.method, .times = Fault::kAlways, .close = true});
        operation.run(*session, forget());
        EXPECT_EQ(code(), 0);
        EXPECT_EQ(server.countOf(operation.method), operation.repeated ? 5 : 1);
    }
}

TEST_F(StatusesTest, AnAttemptThatSucceedsLeavesNoError) {
    connect();
    server.addFile("/a", "x");
    server.fault({.method = "PROPFIND", .times = 4, .status = 503});
    server.fault({.method = "PROPPATCH", .times = 2, .status = 500});
    server.fault({.method = "OPTIONS", .times = 4, .close = true});
    EXPECT_TRUE(session->IsDAVServer(QString(), true, forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_TRUE(session->getCollectionProperty("/", forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_TRUE(session->putProperty("/a", "p", "v", "urn:z", forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(server.property("/a", "urn:z", "p"), "v");
}

// Callers that ask whether a command came back are told so even where the server never answered.
TEST_F(StatusesTest, APropertyWriteCutOffComesBackWithItsErrorAndARefusedOneDoesNot) {
    connect();
    server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .close = true});
    EXPECT_TRUE(session->removeProperty("/a", "p", "urn:z", forget()));
    EXPECT_EQ(codeText(), "0o");
    server.clearFaults();
    server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .status = 503});
    EXPECT_FALSE(session->putProperty("/a", "p", "v", "urn:z", forget()));
}

// So that a lock which the server may still hold stays with its holder.
TEST_F(StatusesTest, AReleaseFailsOnlyWhereTheServerNeverAnswered) {
    connectToVelmora();
    server.fault({.method = "UNLOCK", .status = 500});
    EXPECT_TRUE(session->fileUnlock(kItem, ownLock(*session), forget()));
    server.fault({.method = "UNLOCK", .times = Fault::kAlways, .close = true});
    EXPECT_FALSE(session->fileUnlock(kItem, ownLock(*session), forget()));
    EXPECT_EQ(codeText(), "0o");
}

}  // namespace
