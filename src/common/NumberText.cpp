#include "common/NumberText.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

// The text from its first non-blank on, as far as numbers are concerned. A "+" is no part of what
// std::from_chars reads.
QByteArray numberBytes(const QString &text) {
    const QByteArray bytes = text.trimmed().toLatin1();
    const bool plusSign = bytes.startsWith('+') && !bytes.startsWith("+-");
    return plusSign ? bytes.mid(1) : bytes;
}

}  // namespace

int intValue(const QString &text) {
    return int(std::clamp<qint64>(longLongValue(text), std::numeric_limits<int>::min(),
                                  std::numeric_limits<int>::max()));
}

qint64 longLongValue(const QString &text) {
    const QByteArray bytes = numberBytes(text);
    qint64 value = 0;
    const auto [end, status] = std::from_chars(bytes.begin(), bytes.end(), value);
    if (status != std::errc::result_out_of_range)
        return value;
    return bytes.startsWith('-') ? std::numeric_limits<qint64>::min()
                                 : std::numeric_limits<qint64>::max();
}

double doubleValue(const QString &text) {
    const QByteArray bytes = numberBytes(text);
    double value = 0;
    const auto [end, status] = std::from_chars(bytes.begin(), bytes.end(), value);
    if (status != std::errc::result_out_of_range)
        return value;
    const double limit = std::numeric_limits<double>::max();
    return bytes.startsWith('-') ? -limit : limit;
}
