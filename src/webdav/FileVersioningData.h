#pragma once

#include <QList>
#include <QString>

class ASXMLDomParser;

// One old version of a file on the server.
struct FileVersioningData {
    QString versionName = QStringLiteral("");
    qint64 fileSize = -1;                       // -1 where the server gave none
    QString lastmodified = QStringLiteral("");  // for display, local time
    QString velmoraPath = QStringLiteral("");   // where this version is read from

    // In the order of the answer.
    static QList<FileVersioningData> createListFromXML(const QString &path,
                                                       const ASXMLDomParser &xml);
};
