#pragma once

#include <QString>
#include <QStringList>

// The form in which every cache keys a path, so that a name reaches the same entry however its
// caller composed it.
inline QString cacheKey(const QString &path) {
    return path.normalized(QString::NormalizationForm_D);
}

// The keys that are the path or lie below it.
QStringList atOrBelow(const QStringList &keys, const QString &path);

// Makes a folder with its parents; what is made is the user's alone.
bool makePrivateFolder(const QString &path);
