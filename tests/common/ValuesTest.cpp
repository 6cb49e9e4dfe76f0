#include <limits>

#include "common/NumberText.h"
#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

TEST(Values, Versions) {
    const struct {
        const char *version, *from, *end;
        bool isWithin;
    } cases[] = {
        {"5.1", "5.x", "", true},     {"5.1", "5.2", "", false},   {"5.10", "5.9", "", true},
        {"2", "2.13", "", false},     {"2.13", "2.13", "", true},  {"2.13.1", "2.13", "", true},
        {"3", "2.13", "", true},      {"1.99", "2.13", "", false}, {"", "4", "", false},
        {"5.1", "", "", true},        {"5.1", "", "5.1", true},    {"5.1.1", "", "5.1", false},
        {"5.1.1", "", "5.1.x", true}, {"5", "", "5.1", true},      {"5.2", "", "5.1", false},
        {"6", "", "x", true},         {"4.9.9", "", "5", true},    {"4.1", "5", "6", false}};
    for (const auto &[version, from, end, isWithin] : cases)
        EXPECT_EQ(versionCheck(version, from, end), isWithin)
            << version << " from " << from << " to " << end;
}

TEST(Values, Comparisons) {
    EXPECT_TRUE(isEqualString({}, ""));
    EXPECT_TRUE(isEqualString(5, "5"));
    EXPECT_FALSE(isEqualString("a", "A"));
    EXPECT_TRUE(isEqualNumberBool({}, false));
    EXPECT_FALSE(isEqualNumberBool({}, true));
    EXPECT_TRUE(isEqualNumberBool(1, true));
    EXPECT_FALSE(isSpecialFolder("Root"));
    EXPECT_EQ(perseUserName("/users/taro"), "taro");
    EXPECT_TRUE(perseUserName("taro").isNull());
}

TEST(Values, Texts) {
    const QVariantMap fields{{"X-KQ-Version", "5"}};
    EXPECT_EQ(getObjectFromDictionaryIgnoreCase(fields, "x-kq-VERSION"), "5");
    EXPECT_FALSE(getObjectFromDictionaryIgnoreCase(fields, "X-KQ").isValid());
    EXPECT_EQ(htmlEscape("<a b=\"&lt;'\">"), "&lt;a b=&quot;&amp;lt;&#039;&quot;&gt;");
}

TEST(Values, NumbersAtTheBeginningOfText) {
    const std::pair<const char *, qint64> cases[] = {
        {"12", 12},
        {" \n12 GB", 12},
        {"-3", -3},
        {"+7", 7},
        {"+-7", 0},
        {"", 0},
        {"abc", 0},
        {"9223372036854775808", std::numeric_limits<qint64>::max()},
        {"-9223372036854775809", std::numeric_limits<qint64>::min()}};
    for (const auto &[text, number] : cases)
        EXPECT_EQ(longLongValue(text), number) << text;
    EXPECT_EQ(intValue("4294967296"), std::numeric_limits<int>::max());
    EXPECT_DOUBLE_EQ(doubleValue("1.5e3x"), 1500);
    EXPECT_DOUBLE_EQ(doubleValue("x"), 0);
}

}  // namespace
