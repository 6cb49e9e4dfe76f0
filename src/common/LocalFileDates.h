#pragma once

#include <QDateTime>
#include <QString>

// The dates of a local copy. A file system that can't set a file's date of creation carries the
// server's in an attribute beside it.
struct LocalFileDates {
    QDateTime creation;
    QDateTime modification;

    // Invalid where the file tells none.
    static LocalFileDates of(const QString &path);
    // Sets those that are valid; a failure is of no consequence.
    void applyTo(const QString &path) const;
};
