#include "SessionFixture.h"
#include "webdav/RequestDialect.h"
#include "webdav/ServerNames.h"

namespace {

const QString kCafe = QStringLiteral("caf\u00e9");
const QString kCafeApart = decomposed(kCafe);

TEST(ServerNamesTest, RemembersWhatAComposedNameWouldMiss) {
    const QString ohm = QString(QChar(0x2126));  // composed form: U+03A9, in no other form itself
    const QString mixed = QStringLiteral("e\u0301\u00e9");
    ServerNames names;
    names.learnListing("/", {ohm, mixed});
    names.learn("/", kCafeApart);
    names.learn("/" + kCafe, "plain");
    names.learn("/" + kCafe, kCafeApart);
    const std::pair<QString, QString> cases[] = {
        {kCafe, kCafeApart},
        {kCafeApart, kCafeApart},
        {kCafe + "/plain/" + kCafe, kCafeApart + "/plain/" + kCafe},
        {kCafe + "/" + kCafe, kCafeApart + "/" + kCafeApart},
        {"other/" + kCafe, "other/" + kCafe},
        {composed(ohm), ohm},
        {composed(mixed), mixed},
        {"", ""},
    };
    for (const auto &[typed, spelled] : cases)
        EXPECT_EQ(names.spelled("/" + typed), "/" + spelled);

    // The server's item was replaced by one under the composed name.
    names.learn("/", kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe), "/" + kCafe);
}

TEST(ServerNamesTest, ForgetsAnItemWithAllBelow) {
    ServerNames names;
    for (const QString &folder : {QString("/"), "/" + kCafe, "/" + kCafe + "s"})
        names.learn(folder, kCafeApart);
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
}

TEST(RequestDialectTest, DecodesNames) {
    struct Case {
        const char *encoded;
        const char *velmora;
        const char *standard;
    };
    for (const auto &[encoded, velmora, standard] : {
             Case{"a+b", "a b", "a+b"},
             Case{"a%2Bb%2b", "a+b+", "a+b+"},
             Case{"100%", "100%", "100%"},
             Case{"%zz%2", "%zz%2", "%zz%2"},
             Case{"%2525", "%25", "%25"},
             Case{"%EF%BB%BFa", "\uFEFFa", "\uFEFFa"},
             Case{"\u00e9%C3%A9", "\u00e9\u00e9", "\u00e9\u00e9"},
         }) {
        EXPECT_EQ(RequestDialect(true).decoded(QString::fromUtf8(encoded)).toStdString(), velmora);
        EXPECT_EQ(RequestDialect(false).decoded(QString::fromUtf8(encoded)).toStdString(),
                  standard);
    }
    for (const char *bad : {"%FF", "a%C3", "%ED%A0%80", "%C0%AF"})
        EXPECT_TRUE(RequestDialect(false).decoded(bad).isNull()) << bad;
}

}  // namespace
