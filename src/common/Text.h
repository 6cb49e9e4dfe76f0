#pragma once

#include <QString>

// The text of a key in the user's language ("AppDelegate_51", "Common_Error_Title"). A key without
// a translation comes back as itself, so that a missing text is seen and not lost. Arguments fill
// %1, %2, ... in order.
QString localizedText(const char *key);

template <typename... Args>
QString localizedText(const char *key, const Args &...args) {
    return localizedText(key).arg(args...);
}
