#include "SessionFixture.h"
#include "webdav/ASWDCmd.h"
#include "webdav/Namespaces.h"
#include "webdav/ServerCollectionContainer.h"
#include "webdav/WebPublicParameter.h"

namespace {

class ExtensionsTest : public SessionFixture {
  protected:
    void SetUp() override { server.addFile("/file", "x"); }
    RecordedRequest last() const { return server.lastRequest(); }
};

TEST_F(ExtensionsTest, OtherAndOlderServersAreNotAsked) {
    // Whether the expiry and the quota are asked for; null: not the vendor's server.
    const std::tuple<const char *, bool, bool> cases[] = {
        {nullptr, false, false}, {"1.20", false, true}, {"2", true, true}, {"2.12", true, true}};
    for (const auto &[version, expiry, quota] : cases) {
        SCOPED_TRACE(version ? version : "standard");
        version ? connectToVelmora(version) : connect();
        WebPublicParameter parameter;
        parameter.publicAddress = "here";
        const QString publicUrl =
            session->fileSetWebPublic("/file", parameter, false, false, forget());
        EXPECT_TRUE(publicUrl.isEmpty() && !publicUrl.isNull());
        EXPECT_FALSE(session->fileCancelWebPublic("/file", parameter, &failure));
        EXPECT_FALSE(session->fileSetReadOnly("/file", true, &failure));
        EXPECT_FALSE(session->getServerDefault("/file", false, &failure));
        EXPECT_EQ(server.countOf(""), 0);
        EXPECT_EQ(session->setFileExpire("/file", QDateTime::currentDateTime(), &failure), expiry);
        EXPECT_EQ(server.countOf("PROPPATCH"), expiry ? 1 : 0);
        EXPECT_FALSE(session->getQuotaString("/file", &failure).isNull());
        EXPECT_EQ(server.countOf("PROPFIND"), quota ? 1 : 0);
        EXPECT_EQ(code(), kNone);
    }
}

TEST_F(ExtensionsTest, RequestsAreInTheVendorsForm) {
    connectToVelmora();
    EXPECT_TRUE(session->fileSetReadOnly("/file", true, forget())) << code();
    EXPECT_EQ(last().method, "ACL");
    EXPECT_TRUE(last().has("X-KQ-SET-READONLY"));
    EXPECT_EQ(last().body,
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:acl  xmlns:D=\"DAV:\"></D:acl >");
    EXPECT_TRUE(session->fileSetReadOnly("/file", false, forget()));
    EXPECT_TRUE(last().has("X-KQ-CANCEL-READONLY"));

    server.setQuotaAnswer("10,20");
    EXPECT_EQ(session->getQuotaString("/", forget()), "10,20");
    EXPECT_TRUE(last().has("X-KQ-GET-QUOTA"));

    session->getFileVersioning("/file", {"version-name", "getcontentlength"}, forget());
    EXPECT_EQ(last().method, "Report");
    EXPECT_FALSE(last().has("Depth"));
    EXPECT_EQ(last().body,
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:version-tree  xmlns:D=\"DAV:\">"
              "<D:prop><D:version-name/><D:getcontentlength/></D:prop><D:allprop/>"
              "</D:version-tree>");

    server.setPostAnswer("/cgi", 200, "done");
    EXPECT_EQ(session->postMethod(server.url("/cgi"), {{"a", 1}, {"b", 2}}, forget()), "done");
    EXPECT_EQ(last().body, "a=(null)&b=(null)");
}

TEST_F(ExtensionsTest, TheServersDefaultsAreRead) {
    connectToVelmora();
    server.fault({.method = "PROPFIND",
                  .status = 207,
                  .body = "<multistatus><response><propstat><prop><system_publicexpire>1"
                          "</system_publicexpire></prop></propstat></response></multistatus>"});
    const auto rules = session->getServerDefault("/", true, forget());
    ASSERT_TRUE(rules);
    EXPECT_TRUE(rules->collectionPublicExpire);
    EXPECT_EQ(rules->velmoraVersion, "4.0");
    EXPECT_EQ(last().header("X-KQ-QUERY-DEFAULT-PROP"), "u");
    session->getServerDefault("/", false, nullptr);
    EXPECT_EQ(last().header("X-KQ-QUERY-DEFAULT-PROP"), "w");
}

TEST_F(ExtensionsTest, PublicationParametersAreReadEvenFromABrokenAnswer) {
    connectToVelmora();
    server.setProperty("/file", VelmoraNamespaceURI, "publicaddress", "abc");
    server.setProperty("/file", VelmoraNamespaceURI, "publicmode", "UPLOAD");
    auto parameter = session->getWebPublicParameter("/file", forget());
    ASSERT_TRUE(parameter) << code();
    EXPECT_EQ(parameter->publicAddress, "abc");
    EXPECT_TRUE(parameter->isWebDelivery);
    EXPECT_TRUE(last().body.contains(SlideNamespaceURI.toUtf8()));

    server.fault({.method = "PROPFIND",
                  .status = 207,
                  .body = "<multistatus><response><propstat><prop><publicaddress>abc"
                          "</publicaddress>"});
    parameter = session->getWebPublicParameter("/file", forget());
    ASSERT_TRUE(parameter);
    EXPECT_EQ(parameter->publicAddress, "abc");
    EXPECT_TRUE(failure);
}

TEST_F(ExtensionsTest, APublicationSendsWhatIsSet) {
    struct Case {
        const char *name;
        std::function<void(WebPublicParameter &)> change;
        bool isDelivery;
        QStringList properties;  // "name=value", sorted
    };
    const Case cases[] = {
        {"plain", [](auto &) {}, false, {"publicsubfoldernotvisible=0"}},
        {"delivery",
         [](auto &p) { p.uploadFileNotVisible = true; },
         true,
         {"publicfilenotvisible=1", "publicmode=upload"}},
        {"everything",
         [](auto &p) {
             p.publicAddress = "addr";
             p.isExpire = true;
             p.expire = QDateTime(QDate(2024, 5, 6), QTime(13, 14));
             p.downloadCount = 3;
             p.password = "a<b";
             p.afterSendMail = true;
             p.comment = "c";
             p.subFolderNotVisible = true;
             p.publicMmailAuth = true;
             p.mailAuthMailAddressList = {"x@y", "z@y"};
         },
         false,
         {"deleteafterdownload=3", "password=a&lt;b", "public_mailauth=1",
          "public_mailauth_mailaddress_set_0=x@y", "public_mailauth_mailaddress_set_1=z@y",
          "publicaddress=addr", "publicaddress_updateflg=1", "publiccomment=c",
          "publicexpire=2024/05/06 00:00:00", "sendmailafterdownload=1"}},
        {"anonymous",
         [](auto &p) {
             p.subFolderNotVisible = true;
             p.publicMmailAuth = true;
             p.publicMmailAuthAnonymous = true;
             p.mailAuthMailAddressList = {"x@y"};
         },
         false,
         {"public_mailauth=1", "public_mailauth_anonymous=1"}},
    };
    connectToVelmora("2.13");
    session->publicHost = "https://pub";
    server.setPublicAddress("abc");
    for (const Case &line : cases) {
        SCOPED_TRACE(line.name);
        WebPublicParameter parameter;
        line.change(parameter);
        EXPECT_EQ(session->fileSetWebPublic("/file", parameter, false, line.isDelivery, forget()),
                  "https://pub/public/abc")
            << code();
        EXPECT_TRUE(last().has("X-KQ-SET-PUBLIC"));
        QString properties;
        for (const QString &property : line.properties)
            properties += QString("<Z:%1>%2</Z:%1>")
                              .arg(property.section('=', 0, 0), property.section('=', 1));
        EXPECT_TRUE(last().body.contains("<D:prop>" + properties.toUtf8() + "</D:prop>"))
            << last().body.toStdString();
    }
    session->fileSetWebPublic("/file", WebPublicParameter(), true, false, forget());
    EXPECT_TRUE(last().has("X-KQ-CHANGE-PUBLIC"));
    EXPECT_FALSE(last().has("X-KQ-SET-PUBLIC"));
    EXPECT_FALSE(last().body.contains("publicaddress"));

    server.setPublicAddress(QByteArray());
    EXPECT_TRUE(
        session->fileSetWebPublic("/file", WebPublicParameter(), false, false, forget()).isNull());
    EXPECT_EQ(code(), 13) << "an answer without an address";
}

TEST_F(ExtensionsTest, CancellingAndExpiryTellFailuresInTheErrorAlone) {
    connectToVelmora();
    EXPECT_TRUE(session->fileCancelWebPublic("/file", QString("addr"), forget()));
    EXPECT_TRUE(last().has("X-KQ-CANCEL-PUBLIC"));
    EXPECT_TRUE(last().body.contains("<Z:publicaddress>addr</Z:publicaddress>"));
    EXPECT_FALSE(session->fileCancelWebPublic("/file", QString(""), forget()));

    EXPECT_TRUE(
        session->setFileExpire("/file", QDateTime(QDate(2024, 5, 6), QTime(23, 0)), forget()));
    EXPECT_TRUE(last().has("X-KQ-FILEEXPIRE"));
    EXPECT_TRUE(last().body.contains("<Z:expire>2024/05/06 00:00:00</Z:expire>"));

    server.fault({.method = "PROPPATCH", .times = 2, .status = 403});
    EXPECT_TRUE(session->fileCancelWebPublic("/file", QString("addr"), forget()));
    EXPECT_EQ(code(), 7);
    EXPECT_TRUE(session->setFileExpire("/file", QDateTime::currentDateTime(), forget()));
    EXPECT_EQ(code(), 7);
}

}  // namespace
