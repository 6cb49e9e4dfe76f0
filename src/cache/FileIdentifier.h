#pragma once

#include <QDateTime>
#include <QString>

// The version of a server file: its digest where the server gives one, else size, time and tag.
struct FileIdentifier {
    QString md5;
    qint64 size = -1;
    QDateTime modifiedTime;
    QString etag = QString();  // null where the server gives none

    // Digest nothing, size -1, time the start of 1970.
    static FileIdentifier Enpty();
    bool isEmpty() const;
    // Two digests decide alone, a digest on one side only is no match.
    bool match(const FileIdentifier &other) const;
    // Whether the time says anything about the file.
    bool hasModifiedTime() const;
    QString printstring() const;
};
