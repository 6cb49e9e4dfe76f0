#include "webdav/ServerCollectionContainer.h"

#include <variant>

#include <QHash>

#include "common/NumberText.h"
#include "webdav/PropertyWalk.h"

namespace {

using Container = ServerCollectionContainer;
using Flag = bool Container::*;
using Number = int Container::*;
using Text = QString Container::*;

const QHash<QString, std::variant<Flag, Number, Text>> kFields{
    {QStringLiteral("system_default_deleteafterdownloadflg"), &Container::defaultDownloadCountFlg},
    {QStringLiteral("system_default_deleteafterdownload"), &Container::defaultDownloadCount},
    {QStringLiteral("system_default_webpubexpireflg"), &Container::defaultWebpubExpireFlg},
    {QStringLiteral("system_default_webpubexpiredays"), &Container::defaultWebpubExpire},
    {QStringLiteral("system_default_usewebpubpassword"), &Container::defaultWebpubPasswordFlg},
    {QStringLiteral("system_default_sendmailafterdownload"),
     &Container::defaultSendMailAfterDownload},
    {QStringLiteral("system_deleteafterdownload"), &Container::collectionDownloadCountFlg},
    {QStringLiteral("system_publicexpire"), &Container::collectionPublicExpire},
    {QStringLiteral("system_webpubexpiredays"), &Container::collectionPublicExpireDay},
    {QStringLiteral("system_usewebpubpassword"), &Container::collectionWebPubPassword},
    {QStringLiteral("system_webpubpassword_hidden"), &Container::hideWebPubPassword},
    {QStringLiteral("system_sendmailafterdownload"), &Container::collectionSendMailAfterDownload},
    {QStringLiteral("system_deliveryfilenotvisible"), &Container::collectionDeliveryFileNotVisible},
    {QStringLiteral("system_default_deliveryfilenotvisible"),
     &Container::defaultDeliveryFileNotVisible},
    {QStringLiteral("system_default_webpubsubfoldernotvisible"),
     &Container::defaultWebPubSubFolNotVisible},
    {QStringLiteral("system_webpubsubfoldernotvisible"),
     &Container::collectionWebPubSubFolNotVisibile},
    {QStringLiteral("system_default_public_mailauth_webpub_use"),
     &Container::defaultPublicMailauthWebpubUse},
    {QStringLiteral("system_default_public_mailauth_webpub_onymous"),
     &Container::defaultPublicMailauthWebpubOnymous},
};

// Stores a property's text in a field of any of the three types.
struct Store {
    Container &container;
    const QString &value;

    void operator()(Flag field) const {
        const bool isInverted = field == &Container::defaultWebPubSubFolNotVisible;
        container.*field = (value == u"1") != isInverted;
    }
    void operator()(Number field) const { container.*field = intValue(value); }
    void operator()(Text field) const { container.*field = value; }
};

}  // namespace

std::shared_ptr<ServerCollectionContainer> ServerCollectionContainer::createFromXml(
    const ASXMLDomParser &parser) {
    auto container = std::make_shared<ServerCollectionContainer>();
    forEachProperty(parser, [&](const ASXMLDomNode &property) {
        const auto field = kFields.find(property.elementName);
        if (field != kFields.end())
            std::visit(Store{*container, property.elementValue}, *field);
    });
    return container;
}
