#include <functional>

#include "ItemsFixture.h"
#include "webdav/ASWDCmd.h"

namespace {

LockPtr lockWith(const QString &token) {
    const auto lock = std::make_shared<LockDiscovery>();
    lock->isLock = true;
    lock->locktoken = token;
    return lock;
}

using Operation = std::function<bool(VDWebDAVConnect &, ErrorOut)>;

struct Form {
    const char *name;
    Operation operation;
    const char *velmora;
    const char *standard;
};

const QString kZ = QStringLiteral("urn:z");

const Form kForms[] = {
    {"move", [](auto &s, ErrorOut e) { return s.fileMoveFrom("/a b.txt", "/d/\u00e9%.txt", e); },
     "MOVE /a%20b.txt\nDestination: /d/%C3%A9%25.txt\nOverwrite: T\n",
     "MOVE /a%20b.txt\nDestination: $S/d/%C3%A9%25.txt\nOverwrite: T\n"},
    {"move without overwriting, two locks",
     [](auto &s, ErrorOut e) {
         return s.fileMoveFrom("/a", "/b", false, QList{lockWith("t:1"), lockWith("t:2")}, e);
     },
     "MOVE /a\nDestination: /b\nOverwrite: F\nIf: (<t:1>)(<t:2>)\n",
     "MOVE /a\nDestination: $S/b\nOverwrite: F\nIf: <$S/a> (<t:1>) <$S/a> (<t:2>)\n"},
    {"move with the record of a server without locks",
     [](auto &s, ErrorOut e) {
         return s.fileMoveFrom("/a", "/b", true, std::make_shared<LockDiscovery>(), e);
     },
     "MOVE /a\nDestination: /b\nOverwrite: T\n", "MOVE /a\nDestination: $S/b\nOverwrite: T\n"},
    {"copy with a lock",
     [](auto &s, ErrorOut e) { return s.fileCopyFrom("/a", "/b", true, lockWith("t:1"), e); },
     "COPY /a\nDestination: /b\nOverwrite: T\nIf: <$S/a>(<t:1>)\n",
     "COPY /a\nDestination: $S/b\nOverwrite: T\nIf: <$S/a> (<t:1>)\n"},
    {"short copy", [](auto &s, ErrorOut e) { return s.fileCopyFrom("/a", "/b", false, e); },
     "COPY /a\nDestination: /b\nOverwrite: F\n", "COPY /a\nDestination: $S/b\nOverwrite: F\n"},
    {"delete", [](auto &s, ErrorOut e) { return s.fileDelete("/a#?", e); }, "DELETE /a%23%3F\n",
     "DELETE /a%23%3F\n"},
    {"make folder", [](auto &s, ErrorOut e) { return s.fileMakeDirectory("/n", e); }, "MKCOL /n\n",
     "MKCOL /n\n"},
    {"set and remove properties, under a lock",
     [](auto &s, ErrorOut e) {
         const HeaderFields props = {{"a", "<x> & \"y\""}, {"b", QString()}, {"c", ""}};
         return s.putProperties("/p", props, kZ, {}, false, lockWith("t:1"), e) != nullptr;
     },
     "PROPPATCH /p\nIf: <$S/p>(<t:1>)\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:set><D:prop><Z:a>&lt;x&gt; &amp; &quot;y&quot;</Z:a><Z:c></Z:c></D:prop></D:set>"
     "<D:remove><D:prop><Z:b/></D:prop></D:remove></D:propertyupdate>",
     "PROPPATCH /p\nIf: <$S/p> (<t:1>)\nContent-Type: application/xml; charset=utf-8\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:set><D:prop><Z:a>&lt;x&gt; &amp; &quot;y&quot;</Z:a><Z:c></Z:c></D:prop></D:set>"
     "<D:remove><D:prop><Z:b/></D:prop></D:remove></D:propertyupdate>"},
    {"property as CDATA, with a field of the caller's",
     [](auto &s, ErrorOut e) {
         return s.putProperties("/p", {{"a", "<x>]]>"}}, kZ, {{"Depth", "7"}}, true, e) != nullptr;
     },
     "PROPPATCH /p\nDepth: 7\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:set><D:prop><Z:a><![CDATA[<x>]]&gt;]]></Z:a></D:prop></D:set></D:propertyupdate>",
     "PROPPATCH /p\nDepth: 7\nContent-Type: application/xml; charset=utf-8\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:set><D:prop><Z:a><![CDATA[<x>]]&gt;]]></Z:a></D:prop></D:set></D:propertyupdate>"},
    {"removal alone", [](auto &s, ErrorOut e) { return s.removeProperty("/p", "a", kZ, e); },
     "PROPPATCH /p\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:remove><D:prop><Z:a/></D:prop></D:remove></D:propertyupdate>",
     "PROPPATCH /p\nContent-Type: application/xml; charset=utf-8\n"
     "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">"
     "<D:remove><D:prop><Z:a/></D:prop></D:remove></D:propertyupdate>"},
};

class ChangesTest : public ItemsFixture {
  protected:
    void expectForms(const QByteArray &version, const char *Form::*expected) {
        connect(version);
        for (const Form &form : kForms) {
            form.operation(*session, &error);
            EXPECT_EQ(wire(server.lastRequest()), form.*expected) << form.name;
        }
    }

    // "201:- 404:6 ...": the statuses, each with the code expected of it.
    void expectCodes(const char *method, const Operation &operation, const QString &codes) {
        for (const QString &entry : codes.split(' ')) {
            const QString status = entry.section(':', 0, 0);
            server.fault({.method = method, .times = Fault::kAlways, .status = status.toInt()});
            error.reset();
            const bool done = operation(*session, &error);
            EXPECT_EQ(code(), entry.section(':', 1)) << method << ' ' << entry.toStdString();
            EXPECT_EQ(done, !error) << method << ' ' << entry.toStdString();
            server.clearFaults();
        }
    }
};

}  // namespace

TEST_F(ChangesTest, TheVendorsServerGetsItsForms) {
    expectForms("4.0", &Form::velmora);
}

TEST_F(ChangesTest, OtherServersGetTheStandardsForms) {
    expectForms("", &Form::standard);
}

TEST_F(ChangesTest, StatusesBecomeCodes) {
    connect("4.0");
    expectCodes(
        "MOVE", [](auto &s, ErrorOut e) { return s.fileMoveFrom("/a", "/b", e); },
        "201:- 204:- 200:13O 207:3 400:18O 401:13O 403:7 404:6 405:13O 409:9O 412:13O "
        "415:13O 423:3 500:11O 502:14O 503:12O 507:13O");
    expectCodes(
        "COPY", [](auto &s, ErrorOut e) { return s.fileCopyFrom("/a", "/b", true, e); },
        "201:- 204:- 200:12 207:12 400:18 401:12 403:7 404:6 405:12 409:9 415:12 423:12 "
        "500:11 502:14 503:12 507:12");
    expectCodes(
        "DELETE", [](auto &s, ErrorOut e) { return s.fileDelete("/a", e); },
        "204:- 200:13O 207:3 400:18O 401:1 403:7 404:6 405:13O 409:13O 423:3 500:12O "
        "502:13O 503:11O 507:13O");
    expectCodes(
        "MKCOL", [](auto &s, ErrorOut e) { return s.fileMakeDirectory("/a", e); },
        "201:- 200:13O 207:13O 400:18O 401:1 403:7 404:13O 405:8 409:9O 415:13O 423:3 "
        "500:11O 502:13O 503:12O 507:10O");
    expectCodes(
        "PROPPATCH",
        [](auto &s, ErrorOut e) { return s.putProperty("/a", "p", "v", "urn:z", e) != nullptr; },
        "200:- 207:- 201:13O 400:18O 401:1 403:7 404:6 409:9O 415:13O 423:3 500:11O 503:12O "
        "507:13O");
}

TEST_F(ChangesTest, OtherServersChooseTheirStatusOfSuccess) {
    connect();
    expectCodes(
        "MOVE", [](auto &s, ErrorOut e) { return s.fileMoveFrom("/a", "/b", e); },
        "200:- 201:- 204:- 207:3 412:13O");
    expectCodes(
        "DELETE", [](auto &s, ErrorOut e) { return s.fileDelete("/a", e); }, "200:- 204:- 207:3");
    expectCodes(
        "MKCOL", [](auto &s, ErrorOut e) { return s.fileMakeDirectory("/a", e); },
        "201:- 204:- 207:13O");
    expectCodes(
        "PROPPATCH",
        [](auto &s, ErrorOut e) { return s.putProperty("/a", "p", "v", "urn:z", e) != nullptr; },
        "200:- 204:- 207:- 202:13O");
}

// Some servers send the client from a folder's name without a "/" to the one with it.
TEST_F(ChangesTest, AFolderIsMovedWhereItsNameLeads) {
    connect();
    server.addFile("/d/x", "x");
    server.fault({.method = "MOVE", .status = 308, .redirect = "/d/"});
    EXPECT_TRUE(session->fileMoveFrom("/d", "/e", &error)) << code().toStdString();
    EXPECT_EQ(server.content("/e/x"), "x");
    EXPECT_EQ(wire(server.lastRequest()), "MOVE /d/\nDestination: $S/e\nOverwrite: T\n");
}

TEST_F(ChangesTest, AMoveRefusedForItsExtensionCarriesTheAnswersHeader) {
    connect("4.0");
    server.addFile("/a.txt", "x");
    server.refuseExtension("exe");
    EXPECT_FALSE(session->fileMoveFrom("/a.txt", "/a.exe", &error));
    EXPECT_EQ(code(), "17");
    EXPECT_EQ(error->userInfo.value("X-KQ-REFUSAL-EXTENSION").toString(), "exe");
    EXPECT_EQ(error->userInfo.value("statusCode").toInt(), 403);
}

TEST_F(ChangesTest, NothingIsAskedWhereSourceAndTargetAreTheSame) {
    connect();
    EXPECT_FALSE(session->fileMoveFrom("/a", "/a", &error));
    EXPECT_EQ(code(), "2");
    error.reset();
    EXPECT_FALSE(session->fileCopyFrom("/a", "/a", true, &error));
    EXPECT_EQ(code(), "2");
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(ChangesTest, OnlyPropertyWritesAreRepeated) {
    connect();
    server.fault({.times = Fault::kAlways, .status = 503});
    EXPECT_EQ(session->putProperty("/a", "p", "v", "urn:z", &error), nullptr);
    EXPECT_FALSE(session->fileDelete("/a", &error));
    EXPECT_FALSE(session->fileMoveFrom("/a", "/b", &error));
    EXPECT_EQ(server.countOf("PROPPATCH"), 5);
    EXPECT_EQ(server.countOf("DELETE"), 1);
    EXPECT_EQ(server.countOf("MOVE"), 1);

    server.clearFaults();
    server.clearRequests();
    server.addFile("/a", "x");
    server.fault({.method = "PROPPATCH", .times = 2, .status = 500});
    error.reset();
    EXPECT_NE(session->putProperty("/a", "p", "v", "urn:z", &error), nullptr);
    EXPECT_EQ(code(), "-");
    EXPECT_EQ(server.countOf("PROPPATCH"), 3);
    EXPECT_EQ(server.property("/a", "urn:z", "p"), "v");
}

// Callers that ask whether a command came back are told so even where the server never answered.
TEST_F(ChangesTest, APropertyWriteCutOffComesBackWithItsError) {
    connect();
    server.fault({.method = "PROPPATCH", .times = Fault::kAlways, .close = true});
    EXPECT_TRUE(session->removeProperty("/a", "p", "urn:z", &error));
    EXPECT_EQ(code(), "0O");
    EXPECT_TRUE(session->removeProperty("/a", "p", "urn:z", nullptr));
    EXPECT_FALSE(session->fileDelete("/x", nullptr));
}

// On a strict server a token counts for the resource it is named with alone.
TEST_F(ChangesTest, LocksOfBothEndsAreNamedWithTheirItems) {
    connect();
    for (const char *path : {"/a", "/b", "/c"})
        server.addFile(path, "x");
    LockPtr a, b, c;
    ASSERT_TRUE(session->fileLock("/a", 300, nullptr, &a, &error)) << code().toStdString();
    ASSERT_TRUE(session->fileLock("/b", 300, nullptr, &b, &error));
    EXPECT_TRUE(session->fileMoveFrom("/a", "/b", true, QList{a, b}, &error));

    // Only the target's lock is in the list.
    EXPECT_TRUE(session->fileMoveFrom("/c", "/b", true, QList{b}, &error)) << code().toStdString();
    EXPECT_EQ(wire(server.lastRequest("MOVE")).find("If: <$S/b> (<"),
              wire(server.lastRequest("MOVE")).find("If:"));
}
