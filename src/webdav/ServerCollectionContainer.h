#pragma once

#include <memory>

#include <QString>

class ASXMLDomParser;

// The rules that the administrator sets for publications at one path: defaults that prefill the
// window (default...), and limits that force a value (collection...).
struct ServerCollectionContainer {
    bool defaultDownloadCountFlg = false;
    int defaultDownloadCount = 0;  // the upper limit as well
    bool defaultWebpubExpireFlg = false;
    QString defaultWebpubExpire = QStringLiteral("");  // days
    bool defaultWebpubPasswordFlg = false;
    bool defaultSendMailAfterDownload = false;
    bool collectionDownloadCountFlg = false;
    bool collectionPublicExpire = false;
    QString collectionPublicExpireDay = QStringLiteral("");  // days, the longest allowed
    bool collectionWebPubPassword = false;
    bool hideWebPubPassword = false;
    bool collectionSendMailAfterDownload = false;
    bool collectionDeliveryFileNotVisible = false;
    bool defaultDeliveryFileNotVisible = false;
    // False means that the window starts with hiding subfolders on: the server's flag, inverted.
    bool defaultWebPubSubFolNotVisible = false;
    bool collectionWebPubSubFolNotVisibile = false;
    bool defaultPublicMailauthWebpubUse = false;
    bool defaultPublicMailauthWebpubOnymous = false;
    QString velmoraVersion;  // for a caller to set

    // Never null.
    static std::shared_ptr<ServerCollectionContainer> createFromXml(const ASXMLDomParser &parser);
};
