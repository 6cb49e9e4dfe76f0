#pragma once

#include <unicode/unistr.h>

#include <QString>

inline icu::UnicodeString unicodeString(const QString &text) {
    return icu::UnicodeString(reinterpret_cast<const char16_t *>(text.utf16()),
                              int32_t(text.size()));
}
