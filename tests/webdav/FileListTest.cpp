#include "SessionFixture.h"
#include "webdav/ASWDCmd.h"

namespace {

QByteArray listingOf(const QList<QByteArray> &hrefs) {
    QByteArray xml = "<?xml version=\"1.0\"?><D:multistatus xmlns:D=\"DAV:\">";
    for (const QByteArray &href : hrefs)
        xml += "<D:response><D:href>" + href + "</D:href></D:response>";
    return xml + "</D:multistatus>";
}

const QStringList kLength = {"getcontentlength"};
const QStringList kDav = {"DAV:"};

class FileListTest : public SessionFixture {
  protected:
    QMap<QString, QString> list(const QList<QByteArray> &hrefs, const QString &path = "/",
                                ListingTypes *types = nullptr) {
        server.clearFaults();
        server.fault({.method = "PROPFIND",
                      .times = Fault::kAlways,
                      .status = 207,
                      .body = listingOf(hrefs)});
        return session->getFileList(path, nullptr, forget(), types);
    }
};

const QStringList kNames =
    QString(
        "blank name\t100%\t%20\t%2F\ta#b\twhat?\tplus+plus\ta;b=c\tR&D\t'single'\t\"double\"\t"
        "<tag>\tback\\slash\ta:b\t~tilde\t[x]{y}|^`\tline\nbreak\t...\tcaf\u00e9\tcafe\u0301s\t"
        "e\u0301\u00e9\t\u304b\u3099\t\u6f22\u5b57.txt\t\U0001F600\U0001F468\u200D\U0001F469\t"
        "\u2126")
        .split('\t')
    << QString(85, QChar(0x3042));

TEST_F(FileListTest, EveryNameIsListedAndRead) {
    for (const bool fullUrls : {false, true}) {
        server.setDialect([&](TestServer::Dialect &dialect) { dialect.fullUrlHrefs = fullUrls; });
        for (const QString &name : kNames)
            server.addFile("/dav root+/" + name, name.toUtf8());
        connect("/dav root+");
        const auto names = session->getFileList("/", forget());
        EXPECT_EQ(code(), kNone);
        EXPECT_EQ(names.size(), kNames.size());
        for (const QString &name : kNames) {
            SCOPED_TRACE(name.toStdString());
            EXPECT_TRUE(names.contains(decomposed(name)));
            const QByteArray bytes = session->filePartDownloadWithSrcpath(
                "/" + composed(name), 0, name.toUtf8().size() - 1, forget());
            EXPECT_EQ(bytes, name.toUtf8());
        }
    }
}

TEST_F(FileListTest, TheFolderItselfIsNeverInItsListing) {
    struct Case {
        const char *asked;
        QList<QByteArray> hrefs;
        QStringList names;
    };
    const Case cases[] = {
        {"/d", {"/d/"}, {}},
        {"/d", {}, {}},
        {"/d", {"/d", "/d/a", "/d/d/"}, {"a", "d"}},
        {"/d", {"/d/a", "/d/b", "/d/"}, {"a", "b"}},
        {"/d", {"/d/a", "/d/b"}, {"a", "b"}},
        {"/d", {"http://relay:80/x/d/", "http://relay:80/x/d/a"}, {"a"}},
        {"/d", {"HTTPS://h/%64/", "https://h/d/a/"}, {"a"}},
        {"/", {"http://h", "http://h/a"}, {"a"}},
        {"/", {"/a/", "/"}, {"a"}},
        {"/R&D +", {"/R&amp;D%20+/", "\n /R&amp;D%20+/%61&#38;b \n"}, {"a&b"}},
        {"/caf\u00e9", {"/cafe%CC%81/", "/cafe%CC%81/x"}, {"x"}},
    };
    connect();
    for (const Case &line : cases) {
        SCOPED_TRACE(testing::PrintToString(line.hrefs));
        EXPECT_EQ(list(line.hrefs, QString::fromUtf8(line.asked)).keys(), line.names);
        EXPECT_EQ(code(), kNone);
    }
}

TEST_F(FileListTest, OnTheVendorsServerTheFolderIsTheFirstAndABlankAPlus) {
    connectToVelmora();
    EXPECT_EQ(list({"/", "/a+b", "/a%2Bc"}).keys(), QStringList({"a b", "a+c"}));
    EXPECT_EQ(list({"/x/a", "/x/b", "/x/"}, "/x").keys(), QStringList({"b", "x"}));
    EXPECT_TRUE(list({"/x/"}, "/x").isEmpty());
    EXPECT_EQ(code(), kNone);
}

TEST_F(FileListTest, NamesThatLeadElsewhereAreLeftOutAndLoggedOnce) {
    connect();
    const QList<QByteArray> hrefs = {"/d/",        "/d/good",
                                     "/d/a%2Fb",   "/d/..",
                                     "/d/%2e%2E/", "/d/.",
                                     "/d/nul%00x", "/d/%ff%fe",
                                     "/d/raw\xff", "/d/..%2f..%2fetc",
                                     "/d/cut%C3",  "/d/" + QByteArray(1025, 'x')};
    testing::internal::CaptureStderr();
    for (int count = 0; count < 2; ++count) {
        EXPECT_EQ(list(hrefs, "/d").keys(), QStringList{"good"});
        EXPECT_EQ(code(), kNone);
    }
    EXPECT_EQ(QByteArray::fromStdString(testing::internal::GetCapturedStderr()).count("left out"),
              1);
}

TEST_F(FileListTest, FoldersAreToldFromFilesOnlyWhereTheServerTells) {
    struct Case {
        const char *asked;
        QList<QByteArray> hrefs;
        bool known;
        QSet<QString> folders;
    };
    const Case cases[] = {
        {"/d", {"/d/", "/d/f", "/d/s/"}, true, {"s"}}, {"/d", {"/d/", "/d/f"}, true, {}},
        {"/d", {"/d", "/d/f", "/d/s"}, false, {}},     {"/", {"/", "/f", "/s"}, false, {}},
        {"/", {"/", "/f", "/s/"}, true, {"s"}},
    };
    for (const bool velmora : {false, true}) {
        velmora ? connectToVelmora() : connect();
        for (const Case &line : cases) {
            SCOPED_TRACE(testing::PrintToString(line.hrefs));
            ListingTypes types;
            list(line.hrefs, line.asked, &types);
            EXPECT_EQ(types.known, line.known);
            EXPECT_EQ(line.known ? types.collections : QSet<QString>(), line.folders);
        }
    }
}

TEST_F(FileListTest, TheWritableAnswerIsReadUnderItsExactName) {
    connectToVelmora();
    const std::tuple<const char *, const char *, bool> cases[] = {
        {"X-KQ-CHECK-WRITABLE", "false", true},
        {"X-KQ-CHECK-WRITABLE", "true", false},
        {"x-kq-check-writable", "false", false}};
    for (const auto &[name, value, writable] : cases) {
        server.clearFaults();
        server.fault({.status = 207, .headers = {{name, value}}, .body = listingOf({"/"})});
        Writable result{!writable};
        EXPECT_TRUE(session->getFileList("/", &result, forget()).isEmpty());
        EXPECT_EQ(result.writable, writable) << name << value;
    }
}

TEST_F(FileListTest, ADecomposedItemIsFoundUnderTheTypedName) {
    const QString typed = QStringLiteral("/\u00e9t\u00e9/plain/\u00e0");
    server.addFile(decomposed(typed), "apart");
    connect();
    EXPECT_TRUE(session->getItemProperty(typed, kLength, kDav, forget()));
    EXPECT_EQ(code(), kNone);
    EXPECT_EQ(session->filePartDownloadWithSrcpath(typed, 0, 4, forget()), "apart");

    // Known now, so that nothing more is listed.
    server.clearRequests();
    EXPECT_TRUE(session->getItemProperty(typed, kLength, kDav, forget()));
    EXPECT_EQ(server.countOf("PROPFIND"), 1);
}

TEST_F(FileListTest, OfTwoSpellingsTheComposedOneIsMeant) {
    const QString typed = QStringLiteral("/\u00e9");
    server.addFile(typed, "whole");
    server.addFile(decomposed(typed), "apart");
    connect();
    EXPECT_EQ(session->getFileList("/", forget()).size(), 1);
    EXPECT_EQ(session->filePartDownloadWithSrcpath(typed, 0, 4, forget()), "whole");
}

TEST_F(FileListTest, AnAbsentItemCostsAListingOnlyWhereItsNameHasTwoForms) {
    connect();
    server.addFolder("/d");
    const std::pair<const char *, int> cases[] = {
        {"/d/absent", 1}, {"/d/\u6f22", 1}, {"/d/\u00e9", 2}, {"/d/\u00e0", 1}};
    for (const auto &[path, requests] : cases) {
        server.clearRequests();
        EXPECT_FALSE(session->getItemProperty(QString::fromUtf8(path), kLength, kDav, forget()));
        EXPECT_EQ(code(), 6);
        EXPECT_EQ(server.countOf("PROPFIND"), requests) << path;
    }
}

}  // namespace
