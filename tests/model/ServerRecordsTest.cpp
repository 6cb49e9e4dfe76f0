#include "webdav/FileVersioningData.h"
#include "webdav/Namespaces.h"
#include "webdav/ServerCollectionContainer.h"
#include "webdav/WebPublicParameter.h"
#include "xml/ASXMLDomParser.h"

namespace {

// A parser that has read these properties of one item.
ASXMLDomParser parsed(const QByteArray &properties) {
    ASXMLDomParser parser;
    parser.parse("<m><response><propstat><prop>" + properties +
                 "</prop></propstat></response></m>");
    return parser;
}

TEST(ServerCollectionContainer, FlagsAreOneOrNothing) {
    const auto rules = ServerCollectionContainer::createFromXml(
        parsed("<system_default_deleteafterdownloadflg>1</system_default_deleteafterdownloadflg>"
               "<system_default_deleteafterdownload>12 times</system_default_deleteafterdownload>"
               "<system_publicexpire>true</system_publicexpire>"
               "<system_webpubexpiredays>0</system_webpubexpiredays>"
               "<system_usewebpubpassword>1</system_usewebpubpassword>"
               "<system_usewebpubpassword>0</system_usewebpubpassword>"
               "<SYSTEM_webpubpassword_hidden>1</SYSTEM_webpubpassword_hidden><other>1</other>"));
    EXPECT_TRUE(rules->defaultDownloadCountFlg);
    EXPECT_EQ(rules->defaultDownloadCount, 12);
    EXPECT_FALSE(rules->collectionPublicExpire);
    EXPECT_EQ(rules->collectionPublicExpireDay, "0");
    EXPECT_EQ(rules->defaultWebpubExpire, "");
    EXPECT_FALSE(rules->collectionWebPubPassword) << "the last one counts";
    EXPECT_TRUE(rules->hideWebPubPassword);
}

TEST(ServerCollectionContainer, TheSubfolderDefaultIsInverted) {
    const std::pair<QByteArray, bool> cases[] = {
        {"", false},
        {"<system_default_webpubsubfoldernotvisible>1</system_default_webpubsubfoldernotvisible>",
         false},
        {"<system_default_webpubsubfoldernotvisible/>", true}};
    for (const auto &[properties, hides] : cases) {
        const auto rules = ServerCollectionContainer::createFromXml(parsed(properties));
        EXPECT_EQ(rules->defaultWebPubSubFolNotVisible, hides) << properties.constData();
    }
}

TEST(WebPublicParameter, ReadsAPublication) {
    const auto parameter = WebPublicParameter::createFromXML(parsed(
        "<publicaddress>/p/1</publicaddress><publicexpire>2024-01-02 12:04:05 +0900</publicexpire>"
        "<foldertype>root</foldertype><publicmode>UPLOAD</publicmode><comment>x</comment>"));
    EXPECT_EQ(parameter->publicAddress, "/p/1");
    EXPECT_TRUE(parameter->isExpire);
    EXPECT_EQ(parameter->expire.toString(Qt::ISODate), "2024-01-02T03:04:05Z");
    EXPECT_EQ(parameter->foldertype, "root");
    EXPECT_TRUE(parameter->isWebDelivery);
    EXPECT_EQ(parameter->comment, "");

    const auto absent = WebPublicParameter::createFromXML(parsed(""));
    EXPECT_EQ(absent->expire.toSecsSinceEpoch(), 0);
    EXPECT_FALSE(absent->publicAddress.isNull());
    const auto unreadable = WebPublicParameter::createFromXML(
        parsed("<publicexpire>tomorrow</publicexpire><publicmode>download</publicmode>"));
    EXPECT_FALSE(unreadable->expire.isValid());
    EXPECT_FALSE(unreadable->isExpire || unreadable->isWebDelivery);
}

TEST(WebPublicParameter, ThePasswordHasANamespaceOfItsOwn) {
    const QStringList names = WebPublicParameter::getProperties();
    const QStringList nameSpaces = WebPublicParameter::getNamespaces();
    ASSERT_EQ(names.size(), nameSpaces.size());
    EXPECT_EQ(nameSpaces.count(SlideNamespaceURI), 1);
    EXPECT_EQ(nameSpaces[names.indexOf("password")], SlideNamespaceURI);
}

TEST(FileVersioningData, ARowForEveryVersion) {
    const auto rows = FileVersioningData::createListFromXML(
        "/a.txt", parsed("<v><version-name>1.2</version-name><getcontentlength>7</getcontentlength>"
                         "<getlastmodified>Tue, 02 Jan 2024 12:04:05 GMT</getlastmodified></v>"
                         "<empty>text</empty><v><other/></v>"));
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0].versionName, "1.2");
    EXPECT_EQ(rows[0].velmoraPath, "/a.txt/.$1.2$");
    EXPECT_EQ(rows[0].fileSize, 7);
    EXPECT_EQ(rows[0].lastmodified.size(), 16);
    EXPECT_EQ(rows[1].velmoraPath, "");
    EXPECT_EQ(rows[1].fileSize, -1);
}

}  // namespace
