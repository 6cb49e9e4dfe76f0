#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include "common/Error.h"

// What a ranged GET's answer says of the version it came from. Unset where the server didn't tell.
struct RangeAnswer {
    qint64 totalSize = -1;
    QDateTime lastModified;
    QString etag;  // without a weak mark
};

// Where the content cache gets its bytes from: the session, or a test's stand-in.
class ContentSource {
  public:
    virtual ~ContentSource() = default;

    // The bytes from startBytes to endBytes, both inclusive; endBytes below 0 means to the end.
    // Null with an error on failure. Never more than was asked for, and never other bytes than the
    // server's at that place.
    virtual QByteArray filePartDownloadWithSrcpath(const QString &path, qint64 startBytes,
                                                   qint64 endBytes, ErrorOut error,
                                                   RangeAnswer *answer = nullptr) = 0;
    // One property's text, null where the item has none.
    virtual QString getItemProperty(const QString &path, const QString &propName,
                                    const QString &nameSpace, ErrorOut error) = 0;
};
