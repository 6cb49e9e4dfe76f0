#include "webdav/WebPublicParameter.h"

#include "common/VDCommonUtils.h"
#include "webdav/Namespaces.h"
#include "webdav/PropertyWalk.h"

QStringList WebPublicParameter::getProperties() {
    return {QStringLiteral("publicaddress"),
            QStringLiteral("publiccomment"),
            QStringLiteral("deleteafterdownload"),
            QStringLiteral("publicexpire"),
            QStringLiteral("publicexpireid"),
            QStringLiteral("publicfilenotvisible"),
            QStringLiteral("publicsubfoldernotvisible"),
            QStringLiteral("password"),
            QStringLiteral("publictype"),
            QStringLiteral("sendmailafterdownload"),
            QStringLiteral("_updateflg"),
            QStringLiteral("foldertype"),
            QStringLiteral("publicmode")};
}

QStringList WebPublicParameter::getNamespaces() {
    QStringList namespaces;
    for (const QString &name : getProperties())
        namespaces.append(getXmlNamespace(name));
    return namespaces;
}

QString WebPublicParameter::getXmlNamespace(const QString &name) {
    return name == u"password" ? SlideNamespaceURI : VelmoraNamespaceURI;
}

std::shared_ptr<WebPublicParameter> WebPublicParameter::createFromXML(
    const ASXMLDomParser &parser) {
    auto parameter = std::make_shared<WebPublicParameter>();
    forEachProperty(parser, [&](const ASXMLDomNode &property) {
        const QString &name = property.elementName;
        const QString &value = property.elementValue;
        if (name == u"publicaddress") {
            parameter->publicAddress = value;
        } else if (name == u"publicexpire") {
            parameter->expire = VDCommonUtils::dateWithString(value);
            parameter->isExpire = parameter->expire.isValid();
        } else if (name == u"foldertype") {
            parameter->foldertype = value;
        } else if (name == u"publicmode") {
            parameter->isWebDelivery = value.toLower() == u"upload";
        }
    });
    return parameter;
}
