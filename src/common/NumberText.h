#pragma once

#include <QString>

// The number that a text begins with, white space before it skipped: 0 without one, the type's
// limit beyond its range.
int intValue(const QString &text);
qint64 longLongValue(const QString &text);
double doubleValue(const QString &text);
