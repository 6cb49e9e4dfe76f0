#pragma once

#include <QString>

// The value of "Content-Range" for bytes of a file of that size, both ends inclusive.
inline QString contentRange(qint64 first, qint64 last, qint64 size) {
    return QStringLiteral("bytes %1-%2/%3").arg(first).arg(last).arg(size);
}
