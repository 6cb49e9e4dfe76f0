#include <memory>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include "common/IcuText.h"
#include "common/VDCommonUtils.h"

namespace VDCommonUtils {

namespace {

constexpr char16_t kIsoForm[] = u"yyyy-MM-dd'T'HH:mm:ss'Z'";
constexpr char16_t kHttpForm[] = u"EEE, dd MMM yyyy HH:mm:ss ZZZ";

// A pattern in a language and a time zone.
class DateForm {
  public:
    // The user's language and time zone.
    explicit DateForm(const char16_t *pattern)
        : DateForm(pattern, icu::Locale::getDefault(), icu::TimeZone::createDefault()) {}

    // The server's: English and GMT. Where the text names its zone, that rules in reading.
    static DateForm ofServer(const char16_t *pattern) {
        return DateForm(pattern, icu::Locale("en_US"), icu::TimeZone::getGMT()->clone());
    }

    QString write(const QDateTime &date) const {
        if (!formatter || !date.isValid())
            return {};
        icu::UnicodeString text;
        formatter->format(UDate(date.toMSecsSinceEpoch()), text);
        return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
    }

    QDateTime read(const QString &text) const {
        if (!formatter || text.isEmpty())
            return {};
        icu::ParsePosition position(0);
        const UDate date = formatter->parse(unicodeString(text), position);
        if (position.getErrorIndex() >= 0 || position.getIndex() != text.size())
            return {};
        return QDateTime::fromMSecsSinceEpoch(qint64(date), Qt::UTC);
    }

    // Takes a time that doesn't exist (25:00, or what daylight saving skips) for the one meant.
    DateForm &acceptMissingTimes() {
        if (formatter)
            formatter->setCalendarLenient(true);
        return *this;
    }

  private:
    DateForm(const char16_t *pattern, const icu::Locale &locale, icu::TimeZone *zone) {
        UErrorCode status = U_ZERO_ERROR;
        formatter = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
        formatter->adoptTimeZone(zone);
        formatter->setCalendarLenient(false);
        if (U_FAILURE(status))
            formatter.reset();
    }

    std::unique_ptr<icu::SimpleDateFormat> formatter;
};

}  // namespace

QString dateStringFromDate(const QDateTime &date) {
    return DateForm::ofServer(kIsoForm).write(date);
}

// The two forms of listings are kept from call to call, a thread its own: making one takes several
// times as long as reading a date.

QDateTime parseDate(const QString &text) {
    thread_local const DateForm form = DateForm::ofServer(kIsoForm);
    return form.read(text);
}

QString lastmodifiedDateStringFromDate(const QDateTime &date) {
    return DateForm::ofServer(kHttpForm).write(date);
}

QDateTime parseLastmodifiedDate(const QString &text) {
    thread_local const DateForm form = DateForm::ofServer(kHttpForm);
    return form.read(text);
}

QDateTime dateWithString(const QString &text) {
    return DateForm::ofServer(u"yyyy-MM-dd HH:mm:ss ZZZ").read(text);
}

QString convertLastmodifiedDate(const QString &text) {
    return DateForm(u"yyyy/MM/dd HH:mm").write(parseLastmodifiedDate(text));
}

QString getStringForShow(const QDateTime &date) {
    if (!date.isValid())
        return QStringLiteral("");
    return DateForm(u"yyyy/MM/dd HH:mm:ss").write(date);
}

QString getTodayZeroTimeString(const QDateTime &date) {
    const QString day = DateForm(u"yyyy/MM/dd").write(date);
    return day.isNull() ? QString() : day + QStringLiteral(" 00:00:00");
}

QDateTime getTodayZeroTime(const QDateTime &date) {
    // The 12-hour "hh" reads 00 as midnight, as "HH" would.
    return DateForm(u"yyyy/MM/dd hh:mm:ss").acceptMissingTimes().read(getTodayZeroTimeString(date));
}

}  // namespace VDCommonUtils
