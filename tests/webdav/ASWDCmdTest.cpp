#include <algorithm>
#include <thread>

#include "ASWDCmdRun.h"
#include "support/TestServer.h"
#include "webdav/ASWDCmdGet.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/ASWDCmdUpload.h"

using namespace std::chrono_literals;

namespace {

const QByteArray kPropFind =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:propfind xmlns:D=\"DAV:\"><D:allprop/>"
    "<D:include><D:supported-live-property-set/><D:supported-report-set/></D:include>"
    "</D:propfind>";
const QByteArray kLock =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><lockinfo xmlns:D=\"DAV:\"><d:lockscope>"
    "<d:exclusive/></d:lockscope><d:locktype><d:write/></d:locktype><d:owner><d:href></d:href>"
    "</d:owner></loclinfo>";

}  // namespace

TEST(ASWDCmd, EveryRequestOnTheWire) {
    const QString to = QString::fromUtf8("http://host/dir/a:b é%.txt?x");
    struct Case {
        const char *method;
        std::function<std::shared_ptr<ASWDCmd>(const QString &)> make;
        QByteArray fields;  // of its own, "Name: value" lines
        QByteArray body;
    };
    const auto with = [](auto command, auto... change) {
        (change(*command), ...);
        return std::shared_ptr<ASWDCmd>(command);
    };
    const Case cases[] = {
        {"UNKNOWN", [&](auto &url) { return with(make<ASWDCmd>(url)); }, "", ""},
        {"OPTIONS", [&](auto &url) { return with(make<ASWDCmdOptions>(url)); }, "", ""},
        {"HEAD", [&](auto &url) { return with(make<ASWDCmdHead>(url)); }, "", ""},
        {"DELETE", [&](auto &url) { return with(make<ASWDCmdDelete>(url)); }, "", ""},
        {"MKCOL", [&](auto &url) { return with(make<ASWDCmdMkCol>(url)); }, "", ""},
        {"COPY",
         [&](auto &url) {
             return with(make<ASWDCmdCopy>(url), [&](auto &c) { c.destinationURL = QUrl(to); });
         },
         "Destination: /dir/a%3Ab%20%C3%A9%25.txt\r\n", ""},
        {"MOVE",
         [&](auto &url) {
             return with(make<ASWDCmdMove>(url), [&](auto &c) {
                 c.requestHeader["Destination"] = "http://host/whole";
                 c.destinationURL = QUrl(to);
             });
         },
         "Destination: http://host/whole\r\n", ""},
        {"PROPFIND", [&](auto &url) { return with(make<ASWDCmdPropFind>(url)); },
         "Depth: 1\r\nContent-Length: 171\r\n", kPropFind},
        {"PROPFIND",
         [&](auto &url) {
             return with(make<ASWDCmdPropFind>(url), [](auto &c) {
                 c.depth.reset();
                 c.requestBody = QString::fromUtf8("<ü/>");
             });
         },
         "Content-Length: 5\r\n", "<ü/>"},
        {"PROPPATCH",
         [&](auto &url) {
             return with(make<ASWDCmdPropPatch>(url), [](auto &c) { c.requestBody = "<x/>"; });
         },
         "Content-Length: 4\r\n", "<x/>"},
        {"LOCK", [&](auto &url) { return with(make<ASWDCmdLock>(url)); }, "Content-Length: 187\r\n",
         kLock},
        {"UNLOCK",
         [&](auto &url) {
             return with(make<ASWDCmdUnlock>(url), [](auto &c) { c.lockToken = "<urn:1>"; });
         },
         "Lock-Token: <urn:1>\r\nContent-Length: 0\r\n", ""},
        {"ACL", [&](auto &url) { return with(make<ASWDCmdAcl>(url)); }, "Content-Length: 0\r\n",
         ""},
        {"POST",
         [&](auto &url) {
             return with(make<ASWDCmdPost>(url), [](auto &c) { c.requestBody = "a=b"; });
         },
         "Content-Length: 3\r\n", "a=b"},
        {"PUT",
         [&](auto &url) {
             return with(make<ASWDCmdPut>(url), [](auto &c) { c.requestBody = "content"; });
         },
         "Content-Length: 7\r\n", "content"},
        {"PUT",
         [&](auto &url) {
             return with(make<ASWDCmdPut>(url), [](auto &c) { c.requestBody = ""; });
         },
         "Content-Length: 0\r\n", ""},
        {"PUT",
         [&](auto &url) {
             return with(make<ASWDCmdPut>(url), [](auto &c) {
                 c.requestBody = "part";
                 c.requestHeader["X-KQ-ENABLE-RESUME"] = "";
             });
         },
         "X-KQ-ENABLE-RESUME:\r\nTransfer-Encoding: chunked\r\n", "part"},
        {"GET", [&](auto &url) { return with(make<ASWDCmdGetImpl>(url)); }, "", ""},
    };
    TestServer server;
    server.fault({.times = Fault::kAlways, .status = 200});
    const QByteArray host = "Host: 127.0.0.1:" + QByteArray::number(server.port()) + "\r\n";
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.method << ' ' << c.fields.constData());
        const auto command = c.make(server.url("/a b"));
        command->requestHeader["Translate"] = "f";
        command->requestHeader["User-Agent"] = "not this";
        ASSERT_TRUE(run(*command));
        EXPECT_FALSE(command->error);
        EXPECT_EQ(status(*command), 200);
        const RecordedRequest sent = server.lastRequest();
        EXPECT_TRUE(sent.head.startsWith(QByteArray(c.method) + " /a%20b HTTP/1.1\r\n" + host));
        QByteArrayList lines = sent.head.split('\n');
        QByteArrayList expected =
            ("Translate: f\r\nUser-Agent: Velmora-Disk(Mac)/" VELMORA_VERSION "\r\n" + c.fields)
                .split('\n');
        lines = lines.mid(2);
        std::sort(lines.begin(), lines.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(lines, expected);
        EXPECT_EQ(sent.body, c.body);
    }
}

TEST(ASWDCmd, ReportCarriesNoFieldOfItsOwn) {
    TestServer server;
    server.fault({.status = 207});
    const auto info = std::make_shared<ASHttpConnectInfo>();
    info->setCookie({{"Set-Cookie", "a=1"}}, QUrl());
    const auto report = make<ASWDCmdReport>(server.url("/a"), info);
    report->requestHeader["Depth"] = "1";
    report->requestBody = "<r/>";
    ASSERT_TRUE(run(*report));
    EXPECT_EQ(server.lastRequest().head,
              "Report /a HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(server.port()) +
                  "\r\nContent-Length: 4\r\n");
    EXPECT_EQ(server.lastRequest().body, "<r/>");
}

TEST(ASWDCmd, CookiesComeBackWithTheNextRequest) {
    TestServer server;
    server.addFile("/a", "x");
    server.fault({.headers = {{"Set-Cookie", "one=1; Path=/"}, {"Set-Cookie", "two=2"}}});
    const auto info = std::make_shared<ASHttpConnectInfo>();
    ASSERT_TRUE(run(*make<ASWDCmdHead>(server.url("/a"), info)));
    EXPECT_FALSE(server.lastRequest().has("Cookie"));
    const auto second = make<ASWDCmdHead>(server.url("/a"), info);
    second->requestHeader["Cookie"] = "not this";
    ASSERT_TRUE(run(*second));
    EXPECT_EQ(server.lastRequest().header("Cookie"), "one=1; two=2");
}

TEST(ASWDCmd, AStatusIsNoErrorAndTheTextOfA401IsDropped) {
    TestServer server;
    const auto missing = make<ASWDCmdPropFind>(server.url("/missing"));
    ASSERT_TRUE(run(*missing));
    EXPECT_EQ(status(*missing), 404);
    EXPECT_FALSE(missing->error);

    server.requireLogin(TestServer::Digest, "u", "p");
    const auto info = std::make_shared<ASHttpConnectInfo>();
    info->isUseAuthorization = true;
    info->username = "u";
    info->password = "p";
    const auto options = make<ASWDCmdPropFind>(server.url("/"), info);
    ASSERT_TRUE(run(*options));
    EXPECT_EQ(status(*options), 207);
    EXPECT_TRUE(options->responseBody.startsWith("<?xml"));

    info->changeLogin(false, "u", "wrong");
    const auto refused = make<ASWDCmdOptions>(server.url("/"), info);
    ASSERT_TRUE(run(*refused));
    EXPECT_EQ(errorCode(*refused), 32768);
    EXPECT_EQ(status(*refused), 401);
    EXPECT_FALSE(refused->connection()->error);
}

TEST(ASWDCmd, TheMarkOfACertificateRidesOnTheError) {
    TestServer server(TestServer::Https);
    const auto command = make<ASWDCmdOptions>(server.url());
    ASSERT_TRUE(run(*command));
    EXPECT_TRUE(command->error->is("ASWDCmd", 32768));
    EXPECT_EQ(command->error->userInfo.value("CertificateError"), "ServerSelfCertificate");
}

TEST(ASWDCmd, WhatCannotStartSaysSoAndDoesNotEnd) {
    bool called = false;
    const auto nothing = make<ASWDCmdPut>("http://127.0.0.1:1/");
    nothing->completeEventHandler = [&called] { called = true; };
    EXPECT_FALSE(nothing->execute());
    EXPECT_FALSE(nothing->error);

    const auto missing = make<ASWDCmdPut>("http://127.0.0.1:1/");
    missing->filePath = "/nowhere/at/all";
    missing->completeEventHandler = [&called] { called = true; };
    EXPECT_FALSE(missing->execute());
    EXPECT_EQ(errorCode(*missing), 32770);
    EXPECT_FALSE(called);

    const auto noUrl = make<ASWDCmdHead>("");
    noUrl->completeEventHandler = [&called] { called = true; };
    EXPECT_FALSE(noUrl->execute());
    EXPECT_EQ(errorCode(*noUrl), 32768);
    EXPECT_EQ(noUrl->connection()->error->code, 4000);
    EXPECT_TRUE(called);
}

TEST(ASWDCmd, EachCommandHasItsOwnPatience) {
    struct Case {
        const char *name;
        std::function<std::shared_ptr<ASWDCmd>(const QString &)> make;
        int limit;  // seconds
    };
    const Case cases[] = {
        {"OPTIONS", [](auto &url) { return make<ASWDCmdOptions>(url); }, 10},
        {"PROPFIND", [](auto &url) { return make<ASWDCmdPropFind>(url); }, 20},
        {"any other", [](auto &url) { return make<ASWDCmdDelete>(url); }, 120},
    };
    constexpr auto kBeat = 20ms;  // for 5 s
    ASHttpConnection::setInspectInterval(kBeat);
    TestServer server;
    server.fault({.times = Fault::kAlways, .stall = true});
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const auto command = c.make(server.url("/a"));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(run(*command));
        const auto limit = kBeat * c.limit / 5;
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_GE(took, limit);
        EXPECT_LT(took, limit + kBeat + 150ms);
        EXPECT_EQ(errorCode(*command), 32768);
        EXPECT_EQ(command->connection()->error->code, 4006);
    }
    ASHttpConnection::setInspectInterval(5s);
}

TEST(ASWDCmd, CancelFromAnotherThreadEndsTheWait) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .stall = true});
    const auto command = make<ASWDCmdPropFind>(server.url("/a"));
    std::thread canceller([&] {
        server.waitForRequests("PROPFIND", "/a", 1);
        EXPECT_TRUE(command->cancel());
    });
    EXPECT_TRUE(run(*command));
    canceller.join();
    EXPECT_EQ(errorCode(*command), 32768);

    // Before its start, and after its end.
    const auto early = make<ASWDCmdPropFind>(server.url("/b"));
    EXPECT_TRUE(early->cancel());
    EXPECT_FALSE(early->execute());
    EXPECT_EQ(errorCode(*early), 32768);
    EXPECT_EQ(server.countOf("PROPFIND", "/b"), 0);

    server.clearFaults();
    const auto late = make<ASWDCmdPropFind>(server.url("/"));
    ASSERT_TRUE(run(*late));
    EXPECT_TRUE(late->cancel());
    EXPECT_FALSE(late->error);
    EXPECT_EQ(status(*late), 207);
}

TEST(ASWDCmd, AnEndlessAnswerIsGivenUp) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .endlessBody = true});
    const auto command = make<ASWDCmdPropFind>(server.url("/"));
    ASSERT_TRUE(run(*command));
    EXPECT_EQ(errorCode(*command), 32768);
    EXPECT_EQ(command->connection()->error->code, 4005);
    EXPECT_TRUE(command->error->userInfo.value("OUTPUT").toString().contains("134217728"));
    EXPECT_LE(command->responseBody.size(), ASWDCmdBase::maximumBody);
}

TEST(ASWDCmd, APropCommandEndsWithAParserFedAsTheAnswerComes) {
    const auto command = make<ASWDCmdPropFind>("http://127.0.0.1:1/");
    int ends = 0;
    command->completeEventHandler = [&ends] { ++ends; };
    ASXMLDomParser parser;
    parser.delegate = command.get();
    parser.parse("<a><b>c</b></a>");
    ASSERT_TRUE(command->responseRootNode);
    EXPECT_EQ(ends, 1);
}
