#include <functional>

#include "SessionFixture.h"

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
    std::string velmora;
    std::string standard;
    std::string body = {};
};

const QString kZ = QStringLiteral("urn:z");
const std::string kXmlType = "Content-Type: application/xml; charset=utf-8\n";

std::string updateOf(const std::string &content) {
    return "<?xml version=\"1.0\" ?><D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"urn:z\">" +
           content + "</D:propertyupdate>";
}

const Form kForms[] = {
    {"move", [](auto &s, ErrorOut e) { return s.fileMoveFrom("/a b.txt", "/d/\u00e9%.txt", e); },
     "MOVE /a%20b.txt\nDestination: /d/%C3%A9%25.txt\nOverwrite: T\n",
     "MOVE /a%20b.txt\nDestination: $S/d/%C3%A9%25.txt\nOverwrite: T\n"},
    {"move without overwriting, two locks",
     [](auto &s, ErrorOut e) {
         return s.fileMoveFrom("/a", "/b", false, QList{lockWith("t:1"), lockWith("t:2")}, e);
     },
     "MOVE /a\nDestination: /b\nOverwrite: F\nIf: (<t:1>)(<t:2>)\n",
     "MOVE /a\nDestination: $S/b\nOverwrite: F\nIf: <$S/a> (<t:1>) <$S/b> (<t:2>)\n"},
    {"move with somebody else's lock",
     [](auto &s, ErrorOut e) { return s.fileMoveFrom("/a", "/b", true, lockWith("t:9"), e); },
     "MOVE /a\nDestination: /b\nOverwrite: T\nIf: (<t:9>)\n",
     "MOVE /a\nDestination: $S/b\nOverwrite: T\n"},
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
    {"delete with a lock",
     [](auto &s, ErrorOut e) { return s.fileDelete("/a", {lockWith("t:1")}, e); }, "DELETE /a\n",
     "DELETE /a\nIf: <$S/a> (<t:1>)\n"},
    {"make folder", [](auto &s, ErrorOut e) { return s.fileMakeDirectory("/n", e); }, "MKCOL /n\n",
     "MKCOL /n\n"},
    {"set and remove properties, under a lock",
     [](auto &s, ErrorOut e) {
         const HeaderFields props = {{"a", "<x> & \"y\""}, {"b", QString()}, {"c", ""}};
         return s.putProperties("/p", props, kZ, {}, false, lockWith("t:1"), e) != nullptr;
     },
     "PROPPATCH /p\nIf: <$S/p>(<t:1>)\n", "PROPPATCH /p\nIf: <$S/p> (<t:1>)\n" + kXmlType,
     updateOf("<D:set><D:prop><Z:a>&lt;x&gt; &amp; &quot;y&quot;</Z:a><Z:c></Z:c></D:prop></D:set>"
              "<D:remove><D:prop><Z:b/></D:prop></D:remove>")},
    {"property as CDATA, with a field of the caller's",
     [](auto &s, ErrorOut e) {
         return s.putProperties("/p", {{"a", "<x>]]>"}}, kZ, {{"Depth", "7"}}, true, e) != nullptr;
     },
     "PROPPATCH /p\nDepth: 7\n", "PROPPATCH /p\nDepth: 7\n" + kXmlType,
     updateOf("<D:set><D:prop><Z:a><![CDATA[<x>]]&gt;]]></Z:a></D:prop></D:set>")},
    {"removal alone", [](auto &s, ErrorOut e) { return s.removeProperty("/p", "a", kZ, e); },
     "PROPPATCH /p\n", "PROPPATCH /p\n" + kXmlType,
     updateOf("<D:remove><D:prop><Z:a/></D:prop></D:remove>")},
};

class ChangesTest : public SessionFixture {
  protected:
    // Makes the session believe that it holds the lock.
    void take(const QString &path, const QByteArray &token) {
        server.fault(
            {.method = "LOCK", .status = 200, .headers = {{"Lock-Token", '<' + token + '>'}}});
        session->fileLock(path, nullptr);
    }
};

}  // namespace

TEST_F(ChangesTest, RequestsAreInTheFormOfEachServer) {
    for (const bool velmora : {false, true}) {
        velmora ? connectToVelmora() : connect();
        take("/a", "t:1");
        take("/b", "t:2");
        server.fault({.times = Fault::kAlways, .status = 403});
        for (const Form &form : kForms) {
            form.operation(*session, &failure);
            EXPECT_EQ(wire(server.lastRequest()),
                      (velmora ? form.velmora : form.standard) + form.body)
                << form.name;
        }
        server.clearFaults();
    }
}

// Some servers send the client from a folder's name without a "/" to the one with it.
TEST_F(ChangesTest, AFolderIsMovedWhereItsNameLeads) {
    connect();
    server.addFile("/d/x", "x");
    server.fault({.method = "MOVE", .status = 308, .redirect = "/d/"});
    EXPECT_TRUE(session->fileMoveFrom("/d", "/e", &failure)) << code();
    EXPECT_EQ(server.content("/e/x"), "x");
    EXPECT_EQ(wire(server.lastRequest()), "MOVE /d/\nDestination: $S/e\nOverwrite: T\n");
}

TEST_F(ChangesTest, AMoveRefusedForItsExtensionCarriesTheAnswersHeader) {
    connectToVelmora();
    server.addFile("/a.txt", "x");
    server.refuseExtension("exe");
    EXPECT_FALSE(session->fileMoveFrom("/a.txt", "/a.exe", &failure));
    EXPECT_EQ(code(), 17);
    EXPECT_EQ(failure->userInfo.value("X-KQ-REFUSAL-EXTENSION").toString(), "exe");
    EXPECT_EQ(failure->userInfo.value("statusCode").toInt(), 403);
}

TEST_F(ChangesTest, NothingIsAskedWhereSourceAndTargetAreTheSame) {
    connect();
    EXPECT_FALSE(session->fileMoveFrom("/a", "/a", forget()));
    EXPECT_EQ(code(), 2);
    EXPECT_FALSE(session->fileCopyFrom("/a", "/a", true, forget()));
    EXPECT_EQ(code(), 2);
    EXPECT_EQ(server.requests().size(), 0);
}

// On a strict server a token counts for the resource it is named with alone.
TEST_F(ChangesTest, LocksOfBothEndsAreNamedWithTheirItems) {
    connectAs("me", "");
    for (const char *path : {"/a", "/b", "/c"})
        server.addFile(path, "x");
    LockPtr a, b;
    ASSERT_TRUE(session->fileLock("/a", 300, nullptr, &a, &failure)) << code();
    ASSERT_TRUE(session->fileLock("/b", 300, nullptr, &b, &failure));
    EXPECT_TRUE(session->fileMoveFrom("/a", "/b", true, QList{a, b}, &failure));

    // Only the target's lock is in the list.
    EXPECT_TRUE(session->fileMoveFrom("/c", "/b", true, QList{b}, &failure)) << code();
    EXPECT_THAT(wire(server.lastRequest("MOVE")), testing::HasSubstr("\nIf: <$S/b> (<"));
}

// Only the vendor's server reads what such a request is for.
TEST_F(ChangesTest, APropertyWriteWithoutPropertiesAsksOnlyTheVendorsServer) {
    for (const bool velmora : {false, true}) {
        velmora ? connectToVelmora() : connect();
        server.addFile("/a", "x");
        EXPECT_TRUE(session->putProperties("/a", {}, kZ, {{"X-KQ-LastModified", "0"}}, forget()));
        EXPECT_EQ(code(), kNone);
        EXPECT_EQ(server.countOf("PROPPATCH"), velmora ? 1 : 0);
    }
}

// There are servers that refuse a moved or removed item's locks as it is described, and servers
// that keep the lock of what is gone.
TEST_F(ChangesTest, LocksThatTheServerDoesNotTakeAreReleasedFirst) {
    const auto move = [](auto &s, ErrorOut e) {
        return s.fileMoveFrom("/a", "/b", true, lockWith("t:1"), e);
    };
    const std::tuple<QByteArray, int, Operation> rows[] = {
        {"MOVE", 412, move},
        {"MOVE", 424, move},
        {"DELETE", 412,
         [](auto &s, ErrorOut e) { return s.fileDelete("/a", {lockWith("t:1")}, e); }},
    };
    for (const bool velmora : {false, true}) {
        velmora ? connectToVelmora() : connect();
        for (const auto &[method, status, operation] : rows) {
            SCOPED_TRACE(method.constData());
            server.addFile("/a", "x");
            take("/a", "t:1");
            server.clearRequests();
            server.fault({.method = method,
                          .status = status,
                          .body = "<D:status>HTTP/1.1 412 Precondition Failed</D:status>"});
            EXPECT_EQ(operation(*session, forget()), !velmora);
            EXPECT_EQ(code(), velmora ? 13 : kNone);
            QStringList made;
            for (const RecordedRequest &request : server.requests())
                made += request.method + (request.has("If") ? " with If" : "");
            const QString name = QString::fromLatin1(method);
            if (velmora)
                EXPECT_EQ(made, QStringList{name + (name == "MOVE" ? " with If" : "")});
            else
                EXPECT_EQ(made, QStringList({name + " with If", "UNLOCK", name}));
        }
    }
}
