#include "webdav/LockDiscovery.h"
#include "xml/ASXMLDomParser.h"

namespace {

const QByteArray kLock =
    "<D:activelock><D:locktype><D:write/></D:locktype><D:lockscope><D:exclusive/></D:lockscope>"
    "<D:depth>0</D:depth><D:owner>taro</D:owner><D:timeout>Second-300</D:timeout>"
    "<D:locktoken><D:href>urn:1</D:href><D:href>\n urn:2\n</D:href></D:locktoken></D:activelock>";

TEST(LockDiscovery, ReadsTheLastLockOfALockAnswer) {
    std::optional<Error> error;
    const auto lock = LockDiscovery::createFromXmlFromLockbody(
        "<D:prop xmlns:D='DAV:'><D:lockdiscovery><D:activelock><D:owner>x</D:owner>"
        "</D:activelock>" +
            kLock + "</D:lockdiscovery></D:prop>",
        &error);
    ASSERT_TRUE(lock);
    EXPECT_FALSE(error);
    EXPECT_TRUE(lock->isLock);
    const QStringList fields{lock->locktype, lock->lockscope, lock->depth,
                             lock->owner,    lock->timeOut,   lock->locktoken};
    EXPECT_EQ(fields, (QStringList{"", "exclusive", "0", "taro", "Second-300", "urn:2"}));
}

TEST(LockDiscovery, TheKindBehindTheScopeReplacesIt) {
    const auto lock = LockDiscovery::createFromXmlFromLockbody(
        "<prop><lockdiscovery><activelock><lockscope><shared></shared></lockscope><locktype><write/"
        ">"
        "</locktype></activelock></lockdiscovery></prop>",
        nullptr);
    ASSERT_TRUE(lock);
    EXPECT_EQ(lock->lockscope, "write");
    EXPECT_TRUE(lock->locktype.isEmpty());
    EXPECT_TRUE(lock->locktoken.isNull());
}

TEST(LockDiscovery, NoLockIsNoError) {
    const QByteArray listed = "<m><response><propstat><prop><lockdiscovery>" + kLock +
                              "</lockdiscovery></prop></propstat></response></m>";
    EXPECT_EQ(LockDiscovery::createFromXmlFromPropfindbody(listed, nullptr)->locktoken, "urn:2");
    EXPECT_EQ(LockDiscovery::createFromXmlFromLockbody(listed, nullptr), nullptr);
    for (const char *body :
         {"", "garbage", "<prop>", "<prop/>", "<prop><lockdiscovery> </lockdiscovery></prop>",
          "<m><response><propstat/></response></m>"}) {
        std::optional<Error> error;
        EXPECT_EQ(LockDiscovery::createFromXmlFromLockbody(body, &error), nullptr) << body;
        EXPECT_EQ(LockDiscovery::createFromXmlFromPropfindbody(body, &error), nullptr) << body;
        EXPECT_FALSE(error) << body;
    }
}

}  // namespace
