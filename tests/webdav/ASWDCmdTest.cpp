#include <algorithm>
#include <thread>

#include "ASWDCmdRun.h"
#include "support/TestServer.h"
#include "webdav/ASWDCmdGet.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/ASWDCmdUpload.h"

namespace {

const QByteArray kPropFind =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:propfind xmlns:D=\"DAV:\"><D:allprop/>"
    "<D:include><D:supported-live-property-set/><D:supported-report-set/></D:include>"
    "</D:propfind>";
const QByteArray kLock =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?><lockinfo xmlns:D=\"DAV:\"><d:lockscope>"
    "<d:exclusive/></d:lockscope><d:locktype><d:write/></d:locktype><d:owner><d:href></d:href>"
    "</d:owner></loclinfo>";

using Make = std::function<std::shared_ptr<ASWDCmd>(const QString &url)>;

template <typename Command>
Make maker(const std::function<void(Command &)> &change = [](Command &) {}) {
    return [change](const QString &url) {
        const auto command = make<Command>(url);
        change(*command);
        return command;
    };
}

template <typename Command>
Make withBody(const QString &body, const QString &field = {}) {
    return maker<Command>([=](Command &command) {
        command.requestBody = body.toUtf8();
        if (!field.isNull())
            command.requestHeader[field] = "";
    });
}

struct RequestCase {
    const char *method;
    Make make;
    QByteArray fields = "";  // of its own, "Name: value" lines
    QByteArray body = "";
};

const RequestCase kRequests[] = {
    {"UNKNOWN", maker<ASWDCmd>()},
    {"OPTIONS", maker<ASWDCmdOptions>()},
    {"HEAD", maker<ASWDCmdHead>()},
    {"DELETE", maker<ASWDCmdDelete>()},
    {"MKCOL", maker<ASWDCmdMkCol>()},
    {"COPY", maker<ASWDCmdCopy>([](auto &c) {
         c.destinationURL = QUrl(QString::fromUtf8("http://host/dir/a:b é%.txt?x"));
     }),
     "Destination: /dir/a%3Ab%20%C3%A9%25.txt\r\n"},
    {"MOVE", maker<ASWDCmdMove>([](auto &c) {
         c.requestHeader["Destination"] = "http://host/whole";
         c.destinationURL = QUrl("http://host/other");
     }),
     "Destination: http://host/whole\r\n"},
    {"PROPFIND", maker<ASWDCmdPropFind>(), "Depth: 1\r\nContent-Length: 171\r\n", kPropFind},
    {"PROPFIND", maker<ASWDCmdPropFind>([](auto &c) {
         c.depth.reset();
         c.requestBody = QString::fromUtf8("<ü/>");
     }),
     "Content-Length: 5\r\n", "<ü/>"},
    {"PROPPATCH", withBody<ASWDCmdPropPatch>("<x/>"), "Content-Length: 4\r\n", "<x/>"},
    {"LOCK", maker<ASWDCmdLock>(), "Content-Length: 187\r\n", kLock},
    {"UNLOCK", maker<ASWDCmdUnlock>([](auto &c) { c.lockToken = "<urn:1>"; }),
     "Lock-Token: <urn:1>\r\nContent-Length: 0\r\n"},
    {"ACL", maker<ASWDCmdAcl>(), "Content-Length: 0\r\n"},
    {"POST", withBody<ASWDCmdPost>("a=b"), "Content-Length: 3\r\n", "a=b"},
    {"PUT", withBody<ASWDCmdPut>("content"), "Content-Length: 7\r\n", "content"},
    {"PUT", withBody<ASWDCmdPut>(""), "Content-Length: 0\r\n"},
    {"PUT", withBody<ASWDCmdPut>("part", "X-KQ-ENABLE-RESUME"),
     "X-KQ-ENABLE-RESUME:\r\nTransfer-Encoding: chunked\r\n", "part"},
    {"GET", maker<ASWDCmdGetImpl>()},
};

QByteArrayList sortedLines(const QByteArray &text) {
    QByteArrayList lines = text.split('\n');
    std::sort(lines.begin(), lines.end());
    return lines;
}

}  // namespace

TEST(ASWDCmd, EveryRequestOnTheWire) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .status = 200});
    const QByteArray host = " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(server.port());
    for (const RequestCase &c : kRequests) {
        SCOPED_TRACE(testing::Message() << c.method << ' ' << c.fields.constData());
        const auto command = c.make(server.url("/a b"));
        command->requestHeader["Translate"] = "f";
        command->requestHeader["User-Agent"] = "not this";
        ASSERT_TRUE(run(*command));
        EXPECT_FALSE(command->error);
        EXPECT_EQ(status(*command), 200);
        const RecordedRequest sent = server.lastRequest();
        EXPECT_EQ(sortedLines(sent.head),
                  sortedLines(c.method + (" /a%20b" + host) +
                              "\r\nTranslate: f\r\nUser-Agent: Velmora-Disk(Mac)/" VELMORA_VERSION
                              "\r\n" +
                              c.fields));
        EXPECT_EQ(sent.body, c.body);
    }

    // A report carries no field of its own, not even a cookie.
    const auto info = std::make_shared<ASHttpConnectInfo>();
    info->setCookie({{"Set-Cookie", "a=1"}}, QUrl());
    const auto report = make<ASWDCmdReport>(server.url("/a"), info);
    report->requestHeader["Depth"] = "1";
    report->requestBody = "<r/>";
    ASSERT_TRUE(run(*report));
    EXPECT_EQ(server.lastRequest().head, "Report /a" + host + "\r\nContent-Length: 4\r\n");
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
    server.requireLogin(TestServer::Digest, "u", "p");
    const auto info = std::make_shared<ASHttpConnectInfo>();
    info->isUseAuthorization = true;
    info->changeLogin(false, "u", "p");
    for (const auto &[path, expected] : {std::pair("/missing", 404), std::pair("/", 207)}) {
        const auto accepted = make<ASWDCmdPropFind>(server.url(path), info);
        ASSERT_TRUE(run(*accepted));
        EXPECT_EQ(status(*accepted), expected);
        EXPECT_FALSE(accepted->error);
        EXPECT_EQ(accepted->responseBody.startsWith("<?xml"), expected == 207);
    }
    info->changeLogin(false, "u", "wrong");
    const auto refused = make<ASWDCmdOptions>(server.url("/"), info);
    ASSERT_TRUE(run(*refused));
    EXPECT_EQ(errorCode(*refused), 32768);
    EXPECT_EQ(status(*refused), 401);
    EXPECT_FALSE(refused->connection()->error);
}

TEST(ASWDCmd, WhatCannotStartSaysSo) {
    struct Case {
        std::shared_ptr<ASWDCmd> command;
        int code;
        bool ends;
    };
    const auto missing = make<ASWDCmdPut>("http://127.0.0.1:1/");
    missing->filePath = "/nowhere/at/all";
    for (const auto &[command, code, ends] :
         {Case{make<ASWDCmdPut>("http://127.0.0.1:1/"), 0, false}, Case{missing, 32770, false},
          Case{make<ASWDCmdHead>(""), 32768, true}}) {
        bool ended = false;
        command->completeEventHandler = [&ended] { ended = true; };
        EXPECT_FALSE(command->execute());
        EXPECT_EQ(errorCode(*command), code);
        EXPECT_EQ(ended, ends);
    }
}

TEST(ASWDCmd, CancelFromAnotherThreadEndsTheWait) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .stall = true});
    const auto command = make<ASWDCmdPropFind>(server.url("/a"));
    std::jthread canceller([&] {
        server.waitForRequests("PROPFIND", "/a", 1);
        EXPECT_TRUE(command->cancel());
    });
    EXPECT_TRUE(run(*command));
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
