#pragma once

#include <QString>

// URL text as the vendor's server writes it, where "+" stands for a blank. Where "+" must stay what
// it is, decode with QUrl::fromPercentEncoding and join paths with VDCommonUtils::urlAppendPath.

// "+" becomes a blank, then percent escapes are decoded as UTF-8. A "%" that begins no escape
// stays. Null when the decoded bytes are no UTF-8.
QString stringByDecodingURLFormat(const QString &text);
// As the following with false.
QString stringByEncodingURLFormat(const QString &text);
// Percent-encodes all that may not stand in a URL, "%" and "#" included; the delimiters of a URL
// stay, and ":" too unless encodeColon.
QString stringByEncodingURLFormatAll(const QString &text, bool encodeColon);
