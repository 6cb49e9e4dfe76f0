#include <functional>

#include "SessionFixture.h"
#include "webdav/ASWDCmd.h"
#include "webdav/Namespaces.h"

namespace {

#define XML_HEADER "<?xml version=\"1.0\" encoding=\"utf-8\" ?>"

using Read = std::function<void(VDWebDAVConnect &, ErrorOut)>;

struct Operation {
    const char *name;
    const char *method;
    Read run;
    const char *codes;      // for kStatuses; "o" behind a code: with the status line
    QList<int> repeatedOn;  // codes
};

// 599 stands for any status without a row.
constexpr int kStatuses[] = {400, 401, 403, 404, 405, 409, 500, 503, 599};
const QString kItem = QStringLiteral("/item");
const QStringList kNames = {"displayname"};
const QStringList kSpaces = {"DAV:"};

const Operation kOperations[] = {
    {"list",
     "PROPFIND",
     [](auto &s, auto e) { s.getFileList(kItem, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"collection",
     "PROPFIND",
     [](auto &s, auto e) { s.getCollectionProperty(kItem, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"collection by name",
     "PROPFIND",
     [](auto &s, auto e) { s.getCollectionProperty(kItem, kNames, e); },
     "18o 1 7 6 13 13 11o 12o 13",
     {11, 12}},
    {"item",
     "PROPFIND",
     [](auto &s, auto e) { s.getItemProperty(kItem, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"item by name",
     "PROPFIND",
     [](auto &s, auto e) { s.getItemProperty(kItem, kNames, kSpaces, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"value",
     "PROPFIND",
     [](auto &s, auto e) { s.getItemProperty(kItem, kNames[0], kSpaces[0], e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"exists",
     "PROPFIND",
     [](auto &s, auto e) { s.fileExsits(kItem, e); },
     "18o 1 7 6 13 13 11o 12o 13",
     {}},
    {"head",
     "HEAD",
     [](auto &s, auto e) { s.headMethod(s.itemUrl(kItem).toString(), e); },
     "18o 1 7 6 19 9o 11o 12o 13o",
     {}},
    {"file",
     "GET",
     [](auto &s, auto e) { s.fileDownload("/dev/null", kItem, nullptr, e); },
     "13 1 7 6 13 13 11 12 13",
     {}},
    {"range",
     "GET",
     [](auto &s, auto e) { s.filePartDownloadWithSrcpath(kItem, 0, 9, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {}},
    {"digest",
     "HEAD",
     [](auto &s, auto e) { s.getMD5(kItem, 0, 9, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"size",
     "PROPFIND",
     [](auto &s, auto e) { s.getFIleSize(kItem, 1, e); },
     "18o 1 7 6 13o 13o 11o 12o 13o",
     {11, 12}},
    {"read-only",
     "ACL",
     [](auto &s, auto e) { s.fileSetReadOnly(kItem, true, e); },
     "18 1 7 6 19o 9o 11o 12o 13o",
     {}},
    {"versions",
     "Report",
     [](auto &s, auto e) { s.getFileVersioning(kItem, kNames, e); },
     "13o 1 7 6 13o 13o 13o 13o 13o",
     {}},
    {"post",
     "POST",
     [](auto &s, auto e) {
         s.postMethod(s.itemUrl(kItem).toString(), {{"a", 1}}, e);
     },
     "18o 1 7 6 19o 9o 11o 12o 13",
     {11, 12}},
};

class PropertyReadTest : public SessionFixture {
  protected:
    void answerPropFind(const QByteArray &body, int status = 207) {
        server.clearFaults();
        server.fault(
            {.method = "PROPFIND", .times = Fault::kAlways, .status = status, .body = body});
    }
    QByteArray body() const { return server.lastRequest("PROPFIND").body; }
};

TEST_F(PropertyReadTest, EveryStatusBecomesItsCode) {
    connectToVelmora();
    server.addFile(kItem, "x");
    for (const Operation &operation : kOperations) {
        const QStringList codes = QString(operation.codes).split(' ');
        for (size_t at = 0; at < std::size(kStatuses); ++at) {
            SCOPED_TRACE(testing::Message() << operation.name << " " << kStatuses[at]);
            QString expected = codes[static_cast<qsizetype>(at)];
            const bool withOutput = expected.endsWith('o');
            const int expectedCode = expected.remove('o').toInt();
            server.clearRequests();
            server.clearFaults();
            server.fault({.method = operation.method,
                          .path = kItem,
                          .times = Fault::kAlways,
                          .status = kStatuses[at]});
            operation.run(*session, forget());
            EXPECT_EQ(code(), expectedCode);
            EXPECT_EQ(!output().isEmpty(), withOutput);
            EXPECT_EQ(server.countOf(operation.method),
                      operation.repeatedOn.contains(expectedCode) ? 5 : 1);
        }
    }
}

TEST_F(PropertyReadTest, ADeadServerIsAskedAsOftenAsABusyOne) {
    useFreshConnections();
    connectToVelmora();
    for (const Operation &operation : kOperations) {
        SCOPED_TRACE(operation.name);
        server.clearRequests();
        server.clearFaults();
        server.fault({.method = operation.method, .times = Fault::kAlways, .close = true});
        operation.run(*session, forget());
        EXPECT_EQ(code(), 0);
        EXPECT_EQ(server.countOf(operation.method), operation.repeatedOn.isEmpty() ? 1 : 5);
    }
}

TEST_F(PropertyReadTest, AnAttemptThatSucceedsLeavesNoError) {
    connect();
    server.addFolder("/folder");
    server.fault({.method = "PROPFIND", .times = 4, .status = 503});
    EXPECT_TRUE(session->getCollectionProperty("/folder", forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(server.countOf("PROPFIND"), 5);
}

TEST_F(PropertyReadTest, RequestsAreAsTheVendorsServerKnowsThem) {
    connectToVelmora();
    server.addFile(kItem, "x");

    session->getCollectionProperty("/", forget());
    EXPECT_EQ(body(), XML_HEADER
              "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:displayname/></D:prop></D:propfind>");
    EXPECT_EQ(server.lastRequest().header("Depth"), "1");
    EXPECT_TRUE(server.lastRequest().has("X-KQ-CHECK-WRITABLE"));
    EXPECT_EQ(server.lastRequest().header("X-KQ-CHECK-WRITABLE"), "");
    EXPECT_FALSE(server.lastRequest().has("Content-Type"));

    session->getCollectionProperty("/", QStringList{"resourcetype", "getetag"}, forget());
    EXPECT_EQ(body(), XML_HEADER
              "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/><D:getetag/></D:prop>"
              "</D:propfind>");
    EXPECT_EQ(server.lastRequest().header("Depth"), "0");

    session->getItemProperty(kItem, forget());
    EXPECT_EQ(body(), XML_HEADER "<D:propfind xmlns:D=\"DAV:\"><D:allprop/></D:propfind>");

    session->fileExsits(kItem, forget());
    EXPECT_EQ(body(),
              XML_HEADER "<propfind xmlns=\"DAV:\"><prop><resourcetype/></prop></propfind>");

    session->getItemProperty(kItem, {"a", "b", "c", "d", "e"},
                             {"DAV:", "urn:x", "DAV:", "urn:y", "urn:x"}, {{"X-Extra", "1"}},
                             forget());
    EXPECT_EQ(body(), XML_HEADER
              "<D:propfind xmlns:D=\"DAV:\" xmlns:E=\"urn:x\" xmlns:F=\"urn:y\"><D:prop><D:a/>"
              "<E:b/><D:c/><F:d/><E:e/></D:prop></D:propfind>");
    EXPECT_EQ(server.lastRequest().header("X-Extra"), "1");
    EXPECT_EQ(server.lastRequest().header("Depth"), "0");
}

TEST_F(PropertyReadTest, OtherServersAreToldThatTheBodyIsXml) {
    connect();
    session->getItemProperty("/", forget());
    EXPECT_EQ(server.lastRequest().header("Content-Type"), "application/xml; charset=utf-8");
}

TEST_F(PropertyReadTest, OnlyTheReadByNameTakesA200) {
    connect();
    answerPropFind("<a/>", 200);
    EXPECT_TRUE(session->getItemProperty("/", kNames, kSpaces, forget()));
    EXPECT_EQ(code(), kNone);
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
    EXPECT_FALSE(session->fileExsits("/absent", forget()));
    EXPECT_EQ(code(), 6);
    answerPropFind(
        "<multistatus><response><propstat><status>HTTP/1.1 404 Not Found</status>"
        "</propstat></response></multistatus>");
    EXPECT_FALSE(session->fileExsits(kItem, forget()));
    EXPECT_EQ(code(), kNone);
    server.clearFaults();
    server.fault({.close = true});
    EXPECT_FALSE(session->fileExsits(kItem, nullptr));
}

TEST_F(PropertyReadTest, HeadTakesTheUrlAsGiven) {
    connect();
    EXPECT_FALSE(session->headMethod("", forget()));
    EXPECT_EQ(code(), 16);
    EXPECT_EQ(server.countOf(""), 0);
    EXPECT_TRUE(session->headMethod(server.url("/"), forget()));
}

TEST_F(PropertyReadTest, BrokenXmlIsAFailureOfAnyOtherServer) {
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
}

TEST_F(PropertyReadTest, BrokenXmlOfTheVendorsServerIsReadAsFarAsItGoes) {
    connectToVelmora();
    answerPropFind(
        "<multistatus><response><href>/</href></response><response><href>/a</href>"
        "</response><response><hr");
    EXPECT_EQ(session->getFileList("/", forget()).keys(), QStringList{"a"});
    EXPECT_EQ(code(), kNone);
}

}  // namespace
