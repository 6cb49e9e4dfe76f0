#include "SessionFixture.h"
#include "webdav/ServerNames.h"

namespace {

const QString kCafe = QStringLiteral("caf\u00e9");
const QString kCafeApart = decomposed(kCafe);

TEST(ServerNamesTest, RemembersWhatAComposedNameWouldMiss) {
    ServerNames names;
    names.learn("/", kCafeApart);
    names.learn("/" + kCafe, "plain");
    names.learn("/" + kCafe, kCafeApart);
    EXPECT_EQ(names.spelled("/" + kCafe), "/" + kCafeApart);
    EXPECT_EQ(names.spelled("/" + kCafeApart), "/" + kCafeApart);
    EXPECT_EQ(names.spelled("/" + kCafe + "/plain/" + kCafe), "/" + kCafeApart + "/plain/" + kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe + "/" + kCafe), "/" + kCafeApart + "/" + kCafeApart);
    EXPECT_EQ(names.spelled("/other/" + kCafe), "/other/" + kCafe);
    EXPECT_EQ(names.spelled("/"), "/");
    EXPECT_EQ(names.spelled(""), "");

    // The server's item was replaced by one under the composed name.
    names.learn("/", kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe), "/" + kCafe);
}

TEST(ServerNamesTest, SingletonsAndMixedFormsCountToo) {
    const QString ohm = QString(QChar(0x2126));  // composed form: U+03A9, in no other form itself
    const QString mixed = QStringLiteral("e\u0301\u00e9");
    ServerNames names;
    names.learnListing("/", {ohm, mixed});
    EXPECT_EQ(names.spelled("/" + composed(ohm)), "/" + ohm);
    EXPECT_EQ(names.spelled("/" + composed(mixed)), "/" + mixed);
}

TEST(ServerNamesTest, ForgetsAnItemWithAllBelow) {
    ServerNames names;
    for (const char *folder : {"/", "/caf\u00e9", "/caf\u00e9s"})
        names.learn(QString::fromUtf8(folder), kCafeApart);
    names.forget("/" + kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe + "/" + kCafe), "/" + kCafe + "/" + kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe + "s/" + kCafe), "/" + kCafe + "s/" + kCafeApart);
}

TEST(ServerNamesTest, DoubtsOnlyNamesWithSeveralForms) {
    ServerNames names;
    EXPECT_FALSE(names.mayBeSpelledOtherwise("/plain/\u6f22\u5b57/\U0001F600"));
    EXPECT_TRUE(names.mayBeSpelledOtherwise("/plain/" + kCafe));
    names.learn("/plain", kCafeApart);
    EXPECT_FALSE(names.mayBeSpelledOtherwise("/plain/" + kCafe));

    EXPECT_EQ(names.unlearnedFolders("/" + kCafe + "/plain/" + kCafe),
              QStringList({"/", "/" + kCafe + "/plain"}));
    names.learnListing("/", {kCafe});
    EXPECT_EQ(names.unlearnedFolders("/" + kCafe), QStringList());
}

}  // namespace
