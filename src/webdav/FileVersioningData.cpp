#include "webdav/FileVersioningData.h"

#include "common/NumberText.h"
#include "common/VDCommonUtils.h"
#include "webdav/PropertyWalk.h"

namespace {

FileVersioningData createRow(const QString &path, const ASXMLDomNode &node) {
    FileVersioningData row;
    for (const ASXMLDomNodePtr &property : node.children) {
        const QString &name = property->elementName;
        const QString &value = property->elementValue;
        if (name == u"version-name") {
            row.versionName = value;
            // How the server addresses a version of the file.
            row.velmoraPath = path + QStringLiteral("/.$") + value + u'$';
        } else if (name == u"getcontentlength") {
            row.fileSize = longLongValue(value);
        } else if (name == u"getlastmodified") {
            row.lastmodified = VDCommonUtils::convertLastmodifiedDate(value);
        }
    }
    return row;
}

}  // namespace

QList<FileVersioningData> FileVersioningData::createListFromXML(const QString &path,
                                                                const ASXMLDomParser &xml) {
    QList<FileVersioningData> rows;
    forEachProperty(xml, [&](const ASXMLDomNode &property) {
        if (!property.children.isEmpty())
            rows.append(createRow(path, property));
    });
    return rows;
}
