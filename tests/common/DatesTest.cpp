#include <thread>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <vector>

#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

const QDateTime kDate = QDateTime::fromSecsSinceEpoch(1704164645, Qt::UTC);  // 2024-01-02 03:04:05

// A time zone and a language for the length of a test.
class Dates : public testing::Test {
  protected:
    void SetUp() override { setZone("Asia/Tokyo"); }
    void TearDown() override {
        icu::TimeZone::setDefault(*zone);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(locale, status);
    }
    void setZone(const char *name) {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(name));
    }
    void setLanguage(const char *name) {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(name), status);
    }

  private:
    std::unique_ptr<icu::TimeZone> zone{icu::TimeZone::createDefault()};
    icu::Locale locale = icu::Locale::getDefault();
};

TEST_F(Dates, ServerFormsKnowNoLanguageAndNoZone) {
    setLanguage("ja_JP");
    EXPECT_EQ(dateStringFromDate(kDate), "2024-01-02T03:04:05Z");
    EXPECT_EQ(lastmodifiedDateStringFromDate(kDate), "Tue, 02 Jan 2024 03:04:05 +0000");
    EXPECT_EQ(parseDate("2024-01-02T03:04:05Z"), kDate);
    for (const char *text : {"Tue, 02 Jan 2024 03:04:05 GMT", "Tue, 02 Jan 2024 03:04:05 +0000",
                             "Tue, 02 Jan 2024 03:04:05 UTC", "Tue, 02 Jan 2024 12:04:05 +0900",
                             "Mon, 01 Jan 2024 22:04:05 -0500"})
        EXPECT_EQ(parseLastmodifiedDate(text), kDate) << text;
    EXPECT_EQ(dateWithString("2024-01-02 12:04:05 +0900"), kDate);
}

TEST_F(Dates, UnreadableTextIsNoDate) {
    for (const char *text :
         {"", "x", "2024-01-02", "2024-13-02T03:04:05Z", "2024-02-31T03:04:05Z",
          "2024-01-02T25:04:05Z", "2024-01-02T03:04:05Z and more", "2024-01-02T03:04:05.123Z"})
        EXPECT_FALSE(parseDate(text).isValid()) << text;
    for (const char *text :
         {"", "Tue, 02 Jan 2024 03:04:05", "Tue, 02 Jan 2024 03:04:05 GMT x",
          "Tue, 31 Feb 2024 03:04:05 GMT", "Tue, 02 Foo 2024 03:04:05 GMT", "2024-01-02T03:04:05Z"})
        EXPECT_FALSE(parseLastmodifiedDate(text).isValid()) << text;
    EXPECT_FALSE(dateWithString("2024-01-02").isValid());
    EXPECT_TRUE(dateStringFromDate({}).isNull());
    EXPECT_TRUE(convertLastmodifiedDate("x").isNull());
}

TEST_F(Dates, DisplayAndTheDayAreLocal) {
    EXPECT_EQ(getStringForShow(kDate), "2024/01/02 12:04:05");
    EXPECT_EQ(getStringForShow({}), "");
    EXPECT_EQ(convertLastmodifiedDate("Tue, 02 Jan 2024 20:04:05 GMT"), "2024/01/03 05:04");
    const QDateTime lateInTheDay = QDateTime::fromString("2024-01-02T20:04:05Z", Qt::ISODate);
    EXPECT_EQ(getTodayZeroTimeString(lateInTheDay), "2024/01/03 00:00:00");
    EXPECT_EQ(getTodayZeroTime(lateInTheDay),
              QDateTime::fromString("2024-01-02T15:00:00Z", Qt::ISODate));
    // Midnight falls into the hour that summer time skips.
    setZone("America/Sao_Paulo");
    EXPECT_EQ(getTodayZeroTime(QDateTime::fromString("2018-11-04T12:00:00Z", Qt::ISODate)),
              QDateTime::fromString("2018-11-04T03:00:00Z", Qt::ISODate));
}

TEST_F(Dates, ThreadsReadSideBySide) {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 200; ++i) {
                ASSERT_EQ(parseLastmodifiedDate("Tue, 02 Jan 2024 03:04:05 GMT"), kDate);
                ASSERT_EQ(parseDate(dateStringFromDate(kDate)), kDate);
            }
        });
    }
}

}  // namespace
