#include <limits>

#include "common/NumberText.h"
#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

TEST(Values, Versions) {
    struct Case {
        const char *version, *from, *end;
        bool isWithin;
    };
    for (const Case &c : {Case{"5.1", "5.x", "", true},
                          {"5.1", "5.2", "", false},
                          {"5.10", "5.9", "", true},
                          {"2", "2.13", "", false},
                          {"2.13", "2.13", "", true},
                          {"2.13.1", "2.13", "", true},
                          {"3", "2.13", "", true},
                          {"1.99", "2.13", "", false},
                          {"", "4", "", false},
                          {"5.1", "", "", true},
                          {"5.1", "", "5.1", true},
                          {"5.1.1", "", "5.1", false},
                          {"5.1.1", "", "5.1.x", true},
                          {"5", "", "5.1", true},
                          {"5.2", "", "5.1", false},
                          {"6", "", "x", true},
                          {"4.9.9", "", "5", true},
                          {"5.1", "5", "5.x", true},
                          {"4.1", "5", "6", false}})
        EXPECT_EQ(versionCheck(c.version, c.from, c.end), c.isWithin)
            << c.version << " from " << c.from << " to " << c.end;
}

TEST(Values, Comparisons) {
    EXPECT_TRUE(isEqualString({}, ""));
    EXPECT_TRUE(isEqualString(5, "5"));
    EXPECT_TRUE(isEqualString(true, 1));
    EXPECT_FALSE(isEqualString("a", "A"));
    EXPECT_TRUE(isEqualNumberBool({}, false));
    EXPECT_FALSE(isEqualNumberBool({}, true));
    EXPECT_TRUE(isEqualNumberBool(1, true));
    EXPECT_TRUE(isSpecialFolder("primary"));
    EXPECT_FALSE(isSpecialFolder("Root"));
    EXPECT_EQ(perseUserName("/users/taro"), "taro");
    EXPECT_TRUE(perseUserName("taro").isNull());
}

TEST(Values, LookupIgnoresCase) {
    const QVariantMap fields{{"X-KQ-Version", "5"}, {"Etag", "a"}};
    EXPECT_EQ(getObjectFromDictionaryIgnoreCase(fields, "x-kq-VERSION"), "5");
    EXPECT_FALSE(getObjectFromDictionaryIgnoreCase(fields, "X-KQ").isValid());
}

TEST(Values, EscapesEachCharacterOnce) {
    EXPECT_EQ(htmlEscape("<a b=\"&lt;'\">"), "&lt;a b=&quot;&amp;lt;&#039;&quot;&gt;");
}

TEST(Values, NumbersAtTheBeginningOfText) {
    struct Case {
        const char *text;
        qint64 number;
    };
    for (const Case &c : {Case{"12", 12},
                          {" \n12 GB", 12},
                          {"-3", -3},
                          {"+7", 7},
                          {"+-7", 0},
                          {"", 0},
                          {"abc", 0},
                          {"9223372036854775808", std::numeric_limits<qint64>::max()},
                          {"-9223372036854775809", std::numeric_limits<qint64>::min()}})
        EXPECT_EQ(longLongValue(c.text), c.number) << c.text;
    EXPECT_EQ(longLongValue(QString()), 0);
    EXPECT_EQ(intValue("4294967296"), std::numeric_limits<int>::max());
    EXPECT_DOUBLE_EQ(doubleValue("1.5e3x"), 1500);
    EXPECT_DOUBLE_EQ(doubleValue("x"), 0);
}

}  // namespace
