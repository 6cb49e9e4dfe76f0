#include "model/WebDavResource.h"
#include "xml/ASXMLDomParser.h"

namespace {

using LockReading = WebDavResource::LockReading;

const QByteArray kLock =
    "<activelock><lockscope><exclusive/></lockscope><locktoken><href>urn:1</href></locktoken>"
    "</activelock>";

QByteArray response(const QByteArray &properties) {
    return "<response><propstat><prop>" + properties + "</prop></propstat></response>";
}

std::shared_ptr<WebDavResource> readAnswer(const QByteArray &responses,
                                           LockReading lockReading = LockReading::onlyWithText) {
    ASXMLDomParser parser;
    parser.parse("<multistatus>" + responses + "</multistatus>");
    return WebDavResource::parsePropertyXML(parser, lockReading);
}

std::shared_ptr<WebDavResource> read(const QByteArray &properties,
                                     LockReading lockReading = LockReading::onlyWithText) {
    return readAnswer(response(properties), lockReading);
}

TEST(SingleItem, EveryProperty) {
    const auto item = read(
        "<resourcetype/><creationdate>2024-01-02T03:04:05Z</creationdate>"
        "<getlastmodified>Wed, 03 Jan 2024 03:04:05 GMT</getlastmodified>"
        "<uploadtime>1500000000000</uploadtime><getcontentlength>5368709120</getcontentlength>"
        "<creationuser><href>/users/taro</href></creationuser>"
        "<modificationuser><href>hanako</href></modificationuser><V:MD5>ab12</V:MD5>"
        "<expire>2025</expire><readonly>1</readonly><readonlyowner><href>/u/jiro</href>"
        "</readonlyowner><publicaddress>/p</publicaddress><foldertype>root</foldertype>"
        "<filecomment>hello</filecomment><publicapproval_status>1</publicapproval_status>"
        "<report>1</report>");
    EXPECT_EQ(item->contentType, 1);
    EXPECT_EQ(item->fileCreationDate.toString(Qt::ISODate), "2024-01-02T03:04:05Z");
    EXPECT_EQ(item->fileLastModified.toString(Qt::ISODate), "2024-01-03T03:04:05Z");
    EXPECT_EQ(item->fileUploadDate.toString(Qt::ISODate), "2017-07-14T02:40:00Z");
    EXPECT_EQ(item->fileSize, 5368709120);
    EXPECT_EQ(item->creationUser, "taro");
    EXPECT_TRUE(item->modificationUser.isNull());
    EXPECT_EQ(item->md5, "ab12");
    EXPECT_EQ(item->expire, "2025");
    EXPECT_EQ(item->lockType, 1);
    EXPECT_EQ(item->readonlyOwner, "jiro");
    EXPECT_EQ(item->webPublicAddress, "/p");
    EXPECT_EQ(item->folderType, "root");
    EXPECT_EQ(item->fileComment, "hello");
    EXPECT_TRUE(item->isApproval && item->isReport);
}

TEST(SingleItem, AbsentAndUnreadableValues) {
    const QByteArray unreadable =
        "<creationdate>x</creationdate><getcontentlength>-5</getcontentlength>"
        "<uploadtime>1e300</uploadtime><readonly>x</readonly>"
        "<publicapproval_status>2</publicapproval_status><report/><creationuser/>";
    for (const auto &item : {readAnswer(""), read(""), read(unreadable)}) {
        EXPECT_EQ(item->contentType, 1);
        EXPECT_EQ(item->fileSize, 0);
        EXPECT_EQ(item->lockType, 0);
        EXPECT_FALSE(item->fileCreationDate.isValid() || item->fileUploadDate.isValid());
        EXPECT_FALSE(item->isApproval || item->isReport || item->lockDiscovery);
        EXPECT_TRUE(item->md5.isNull());
    }
}

// A server that hasn't got a property lists it without a value, under a status of its own.
TEST(SingleItem, PropertiesThatTheServerHasNotGot) {
    const auto item = readAnswer(
        "<response><propstat><prop><resourcetype><collection/></resourcetype>"
        "<getlastmodified>Wed, 03 Jan 2024 03:04:05 GMT</getlastmodified></prop>"
        "<status>HTTP/1.1 200 OK</status></propstat><propstat><prop><uploadtime/>"
        "<getcontentlength/><MD5/><readonly/><lockdiscovery/><lockshare/><lockaccess/>"
        "<foldertype/><publicaddress/></prop><status>HTTP/1.1 404 Not Found</status></propstat>"
        "</response>",
        LockReading::always);
    EXPECT_EQ(item->contentType, 0);
    EXPECT_EQ(item->lockType, 0);
    EXPECT_EQ(item->lockDiscovery, nullptr);
    EXPECT_EQ(item->fileUploadDate, item->fileLastModified);
    EXPECT_TRUE(item->webPublicAddress.isNull());
}

TEST(SingleItem, OnceAFolderAlwaysAFolder) {
    const auto item = readAnswer(response("<resourcetype><collection/></resourcetype>") +
                                 response("<resourcetype/><getcontentlength>3</getcontentlength>"));
    EXPECT_EQ(item->contentType, 0);
    EXPECT_EQ(item->fileSize, 3);
}

TEST(SingleItem, LocksCountByTheTextAroundThem) {
    const QByteArray bare = "<lockdiscovery>" + kLock + "</lockdiscovery>";
    const QByteArray spaced = "<lockdiscovery>\n" + kLock + "\n</lockdiscovery>";
    const QByteArray modes =
        "<lockshare>1</lockshare><lockaccess>3</lockaccess><readonly>1</readonly>";
    const struct {
        QByteArray properties;
        LockReading reading;
        bool isLocked;
    } cases[] = {{modes + bare, LockReading::onlyWithText, false},
                 {modes + spaced, LockReading::onlyWithText, true},
                 {spaced + modes, LockReading::onlyWithText, true},
                 {bare + modes, LockReading::always, true},
                 {modes + "<lockdiscovery> </lockdiscovery>", LockReading::always, false}};
    for (const auto &c : cases) {
        const auto item = read(c.properties, c.reading);
        EXPECT_EQ(item->lockType, c.isLocked ? 2 : 1) << c.properties.constData();
        ASSERT_EQ(item->lockDiscovery != nullptr, c.isLocked) << c.properties.constData();
        if (!c.isLocked)
            continue;
        EXPECT_EQ(item->lockDiscovery->locktoken, "urn:1");
        EXPECT_EQ(item->lockDiscovery->lockFileShare, 1);
        EXPECT_EQ(item->lockDiscovery->lockFileAccess, 3);
    }
}

TEST(ListedItems, ReadDifferently) {
    const auto node = [](const QByteArray &properties) {
        ASXMLDomParser parser;
        parser.parse("<response><prop>" + properties + "</prop></response>");
        return parser.rootElement;
    };
    const auto items = WebDavResource::createFromHash(
        {{"/bare", node("<lockdiscovery>" + kLock +
                        "</lockdiscovery><lockshare>1</lockshare>"
                        "<foldertype>root</foldertype>")},
         {"/spaced", node("<resourcetype/><readonly>2</readonly><lockdiscovery> " + kLock +
                          "</lockdiscovery><uploadtime/><getcontentlength>4</getcontentlength>")}},
        QUrl("http://h/"), "public.host");
    ASSERT_EQ(items.size(), 2);
    const auto bare = items["/bare"];
    EXPECT_EQ(bare->contentType, 0) << "no type told";
    EXPECT_EQ(bare->relativePath, "/bare");
    EXPECT_EQ(bare->publicHostFromServer, "public.host");
    EXPECT_EQ(bare->lockDiscovery->locktoken, "urn:1");
    EXPECT_EQ(bare->lockDiscovery->lockFileShare, 0);
    EXPECT_EQ(bare->lockType, 0);
    const auto spaced = items["/spaced"];
    EXPECT_EQ(spaced->contentType, 1);
    EXPECT_EQ(spaced->lockDiscovery, nullptr);
    EXPECT_EQ(spaced->lockType, 0) << "locked, but by no lock";
    EXPECT_EQ(spaced->fileUploadDate.toMSecsSinceEpoch(), 0);
    EXPECT_EQ(spaced->fileSize, 4);
}

}  // namespace
