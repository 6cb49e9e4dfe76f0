#include <algorithm>
#include <unicode/regex.h>

#include "common/IcuText.h"
#include "common/VDCommonUtils.h"

namespace VDCommonUtils {

namespace {

const QString kLabel = QStringLiteral("[a-zA-Z0-9]([a-zA-Z0-9\\-]*[a-zA-Z0-9]){0,1}");

bool isEnclosed(const QString &text, QChar first, QChar last) {
    return text.size() >= 2 && text.front() == first && text.back() == last;
}

QString inside(const QString &text) {
    return text.mid(1, text.size() - 2);
}

bool isLocalPart(const QString &text) {
    if (isEnclosed(text, u'"', u'"'))
        return matcher(
            inside(text),
            QStringLiteral(R"(([a-zA-Z0-9!#$%&'*+\-/=?^_`{|}~.()<>\[\]:;@,]|\\ |\\\\|\\")+)"));
    return matcher(text, QStringLiteral(R"([a-zA-Z0-9!#$%&'*+\-/=?^_`{|}~.]+)")) &&
           !text.startsWith(u'.') && !text.endsWith(u'.') && !text.contains(u"..");
}

// An address at a literal IPv4 address is refused on purpose.
bool isMailDomain(const QString &text) {
    if (!isEnclosed(text, u'[', u']'))
        return isServer(text);
    const QString literal = inside(text);
    if (matcher(literal, QStringLiteral("[0-9]+[.]{1}[0-9]+[.]{1}[0-9]+[.]{1}[0-9]+")))
        return false;
    return isServer(literal);
}

}  // namespace

bool matcher(const QString &text, const QString &pattern) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString input = unicodeString(text);
    icu::RegexMatcher expression(unicodeString(pattern), input, 0, status);
    return expression.matches(status) && U_SUCCESS(status) && checkAllHalfLetter(text);
}

bool checkAllHalfLetter(const QString &text) {
    return text.size() == text.toUtf8().size();
}

bool isIPv4(const QString &text) {
    return matcher(text, QStringLiteral("[0-9]{1,3}\\.[0-9]{1,3}\\.[0-9]{1,3}\\.[0-9]{1,3}"));
}

// No IPv6 address counts as a valid server.
bool isIPv6(const QString &) {
    return false;
}

bool isHostName(const QString &text) {
    return text.size() < 64 &&
           matcher(text, QStringLiteral("[a-zA-Z0-9]([a-zA-Z0-9\\-_]*[a-zA-Z0-9]){0,1}"));
}

bool isDomainName(const QString &text) {
    if (isIPv6(text) || isIPv4(text))
        return true;
    const QStringList labels = text.split(u'.');
    const bool labelsFit = std::all_of(labels.begin(), labels.end(),
                                       [](const QString &label) { return label.size() <= 63; });
    return text.size() < 256 && labelsFit &&
           matcher(text, QStringLiteral("%1([.]%1)*[.][a-zA-Z]{2,}").arg(kLabel));
}

bool isServer(const QString &text) {
    return text.isEmpty() || isDomainName(text) || isHostName(text);
}

bool checkEMail(const QString &text) {
    if (text.isEmpty())
        return true;
    const qsizetype at = text.lastIndexOf(u'@');
    return text.size() <= 256 && at >= 0 && isLocalPart(text.left(at)) &&
           isMailDomain(text.mid(at + 1));
}

bool invalidFilenameForWindows(const QString &path, bool *symbolError) {
    const QString name = lastPathComponent(path);
    const bool hasSymbol = std::any_of(name.begin(), name.end(), [](QChar character) {
        return QStringView(u"\\<>:\"/\u00a5|?*").contains(character);
    });
    const bool isInvalid = hasSymbol || name.endsWith(u' ') || name.endsWith(u'.');
    if (isInvalid && symbolError)
        *symbolError = hasSymbol;
    return isInvalid;
}

bool invalidFilenameForWindows(const QString &path) {
    return invalidFilenameForWindows(path, nullptr);
}

QString harfSpaceCharacterSet() {
    return QStringLiteral(
        "\t \u00a0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200a\u202f"
        "\u205f");
}

}  // namespace VDCommonUtils
