#pragma once

#include <memory>

#include <QDateTime>
#include <QString>
#include <QStringList>

class ASXMLDomParser;

// One publication of an item: what the window gathers and sends, and what the server says of an
// existing one.
struct WebPublicParameter {
    bool isExpire = false;
    QDateTime expire = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
    bool afterSendMail = false;
    QString comment = QStringLiteral("");
    int downloadCount = 0;  // 0 for no limit
    bool uploadFileNotVisible = false;
    bool subFolderNotVisible = false;
    QString publicAddress = QStringLiteral("");
    QString password = QStringLiteral("");
    QString foldertype = QStringLiteral("");
    bool publicMmailAuth = false;
    bool publicMmailAuthAnonymous = false;  // any address may authenticate, no list
    QStringList mailAuthMailAddressList;
    bool isWebDelivery = false;

    // The properties to ask for, and the namespace of each.
    static QStringList getProperties();
    static QStringList getNamespaces();
    static QString getXmlNamespace(const QString &name);
    // Reads the address, the expiry, the folder type and the kind; never null.
    static std::shared_ptr<WebPublicParameter> createFromXML(const ASXMLDomParser &parser);
};
