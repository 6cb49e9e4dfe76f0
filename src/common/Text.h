#pragma once

#include <QLocale>
#include <QString>

// Makes localizedText answer in the locale's language: Japanese for Japanese, English for any
// other. Needs the application object; false without one.
bool installTexts(const QLocale &locale);

// The text of a key in the user's language ("AppDelegate_51", "Common_Error_Title"). A key without
// a translation comes back as itself, so that a missing text is seen and not lost. Arguments fill
// %1, %2, ... in order.
QString localizedText(const char *key);

template <typename... Args>
QString localizedText(const char *key, const Args &...args) {
    return localizedText(key).arg(args...);
}
