#include "SessionFixture.h"
#include "webdav/RequestDialect.h"
#include "webdav/ServerNames.h"

namespace {

const QString kCafe = QStringLiteral("caf\u00e9");
const QString kCafeApart = decomposed(kCafe);

TEST(ServerNamesTest, RemembersWhatAComposedNameWouldMissUntilItIsForgotten) {
    ServerNames names;
    names.learn("/", kCafeApart);
    names.learn("/" + kCafe, kCafeApart);
    names.learn("/" + kCafe + "s", kCafeApart);
    EXPECT_EQ(names.spelled("/" + kCafe + "/" + kCafe), "/" + kCafeApart + "/" + kCafeApart);
    EXPECT_EQ(names.spelled("/other/" + kCafe), "/other/" + kCafe);
    EXPECT_EQ(names.unlearnedFolders("/" + kCafe + "/plain/" + kCafe),
              QStringList("/" + kCafe + "/plain"));

    names.forget("/" + kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe + "/" + kCafe), "/" + kCafe + "/" + kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe + "s/" + kCafe), "/" + kCafe + "s/" + kCafeApart);
}

TEST(ServerNamesTest, AnItemMayBeReplacedByOneUnderTheComposedName) {
    ServerNames names;
    names.learn("/", kCafeApart);
    names.learn("/", kCafe);
    EXPECT_EQ(names.spelled("/" + kCafe), "/" + kCafe);
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
