#include "SessionFixture.h"
#include "webdav/Namespaces.h"

namespace {

const QString kItem = QStringLiteral("/item");
const QStringList kNames = {"displayname"};
const QStringList kSpaces = {"DAV:"};

class PropertyReadTest : public SessionFixture {
  protected:
    void answerPropFind(const QByteArray &body, int status = 207) {
        server.clearFaults();
        server.fault(
            {.method = "PROPFIND", .times = Fault::kAlways, .status = status, .body = body});
    }
    QByteArray body() const { return server.lastRequest("PROPFIND").body; }
};

TEST_F(PropertyReadTest, RequestsAreInTheFormOfEachServer) {
    const auto find = [](const QByteArray &content, const QByteArray &spaces = "") {
        return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:propfind xmlns:D=\"DAV:\"" + spaces +
               ">" + content + "</D:propfind>";
    };
    connectToVelmora();
    server.addFile(kItem, "x");
    session->getCollectionProperty("/", forget());
    EXPECT_EQ(body(), find("<D:prop><D:displayname/></D:prop>"));
    EXPECT_EQ(server.lastRequest().header("Depth"), "1");
    EXPECT_TRUE(server.lastRequest().has("X-KQ-CHECK-WRITABLE"));
    EXPECT_EQ(server.lastRequest().header("X-KQ-CHECK-WRITABLE"), "");
    EXPECT_FALSE(server.lastRequest().has("Content-Type"));

    session->getCollectionProperty("/", QStringList{"resourcetype", "getetag"}, forget());
    EXPECT_EQ(body(), find("<D:prop><D:resourcetype/><D:getetag/></D:prop>"));
    EXPECT_EQ(server.lastRequest().header("Depth"), "0");

    session->fileExsits(kItem, forget());
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?><propfind xmlns=\"DAV:\"><prop>"
              "<resourcetype/></prop></propfind>");

    session->getItemProperty(kItem, {"a", "b", "c", "d", "e"},
                             {"DAV:", "urn:x", "DAV:", "urn:y", "urn:x"}, {{"X-Extra", "1"}},
                             forget());
    EXPECT_EQ(body(), find("<D:prop><D:a/><E:b/><D:c/><F:d/><E:e/></D:prop>",
                           " xmlns:E=\"urn:x\" xmlns:F=\"urn:y\""));
    EXPECT_EQ(server.lastRequest().header("X-Extra"), "1");
    EXPECT_EQ(server.lastRequest().header("Depth"), "0");

    session->getItemProperty(kItem, forget());
    EXPECT_EQ(body(), find("<D:allprop/>"));
}

TEST_F(PropertyReadTest, OnlyTheReadByNameTakesA200AndOtherServersAreToldThatTheBodyIsXml) {
    connect();
    answerPropFind("<a/>", 200);
    EXPECT_TRUE(session->getItemProperty("/", kNames, kSpaces, forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(server.lastRequest().header("Content-Type"), "application/xml; charset=utf-8");
    EXPECT_FALSE(session->getItemProperty("/", forget()));
    EXPECT_EQ(code(), 13);
    EXPECT_FALSE(session->getCollectionProperty("/", forget()));
    EXPECT_EQ(code(), 13);
}

TEST_F(PropertyReadTest, AValueIsTheFirstOfItsName) {
    connect();
    const auto value = [this](const char *name) {
        return session->getItemProperty("/", name, kDavNamespaceURI, forget());
    };
    answerPropFind(
        "<D:multistatus xmlns:D=\"DAV:\"><D:response><D:href>/</D:href>"
        "<D:propstat><D:prop><D:resourcetype><D:Collection/></D:resourcetype>"
        "<D:GetEtag>one</D:GetEtag></D:prop><D:status>HTTP/1.1 404 x</D:status>"
        "</D:propstat><D:propstat><D:prop><x:getetag xmlns:x=\"u\">two</x:getetag>"
        "</D:prop></D:propstat></D:response></D:multistatus>");
    EXPECT_EQ(value("getetag"), "one");
    EXPECT_EQ(value("resourcetype"), "collection");
    EXPECT_TRUE(value("absent").isNull());
    EXPECT_EQ(code(), kNone);
    EXPECT_TRUE(session->IsCollection("/", forget()));

    answerPropFind(
        "<multistatus><response><propstat><prop><resourcetype>collection"
        "</resourcetype></prop></propstat></response></multistatus>");
    EXPECT_FALSE(session->IsCollection("/", forget()));
}

TEST_F(PropertyReadTest, ExistenceNeedsA200InTheAnswer) {
    useFreshConnections();
    connect();
    server.addFile(kItem, "x");
    EXPECT_TRUE(session->fileExsits(kItem, forget()));
    answerPropFind(
        "<multistatus><response><propstat><status>HTTP/1.1 404 Not Found</status>"
        "</propstat></response></multistatus>");
    EXPECT_FALSE(session->fileExsits(kItem, forget()));
    EXPECT_EQ(code(), kNone);
    server.clearFaults();
    server.fault({.close = true});
    EXPECT_FALSE(session->fileExsits(kItem, nullptr));
}

TEST_F(PropertyReadTest, BrokenXmlIsAFailureButTheVendorsIsReadAsFarAsItGoes) {
    connect();
    server.addFile("/a", "x");
    const QByteArray item = "<response><href>/a</href></response>";
    const QByteArray bodies[] = {
        "",
        "<multistatus>" + item + "<response><href>/b</hr",
        "<multistatus>" + item + "<response><href>/b</bad></response></multistatus>",
        "<multistatus>" + item + QByteArray("<x>").repeated(2000),
        "<!DOCTYPE a [<!ENTITY e \"&e;\">]><multistatus>" + item + "&e;</multistatus>",
        "<multistatus>" + item + "</multistatus>" + item,
    };
    for (const QByteArray &body : bodies) {
        SCOPED_TRACE(body.left(120).toStdString());
        answerPropFind(body);
        server.clearRequests();
        EXPECT_TRUE(session->getFileList("/", forget()).isEmpty());
        EXPECT_EQ(code(), 15);
        EXPECT_EQ(output(), "Failure XML PARSE");
        EXPECT_EQ(server.countOf("PROPFIND"), 5);
    }
    session->getItemProperty("/", "getetag", kDavNamespaceURI, forget());
    EXPECT_EQ(code(), 15);
    EXPECT_EQ(output(), "Failure XMX PARSE");
    EXPECT_TRUE(session->fileExsits("/a", forget()));
    EXPECT_EQ(code(), 15);
    EXPECT_EQ(session->getFIleSize("/a", 1, forget()), 0);
    EXPECT_EQ(code(), 15);

    connectToVelmora();
    answerPropFind("<multistatus><response><href>/</href></response>" + item + "<response><hr");
    EXPECT_EQ(session->getFileList("/", forget()).keys(), QStringList{"a"});
    EXPECT_EQ(code(), kNone);
}

}  // namespace
