// Which element of a server's answer becomes which field. Elements come by bare lower-case name.

#include <algorithm>
#include <cmath>

#include "common/NumberText.h"
#include "common/VDCommonUtils.h"
#include "model/WebDavResource.h"
#include "webdav/PropertyWalk.h"

namespace {

constexpr qint64 kLocked = 2;

// A record on its way, with what is only settled after the last property.
struct Reading {
    WebDavResource &resource;
    WebDavResource::LockReading lockReading = WebDavResource::LockReading::onlyWithText;
    bool isCollection = false;
    bool hasLock = false;
    qint64 lockShare = 0;
    qint64 lockAccess = 0;
};

using Reader = void (*)(const ASXMLDomNode &node, Reading &reading);
using ReaderTable = QHash<QString, Reader>;

bool isCollectionType(const ASXMLDomNode &node) {
    return node.findFirstName(QStringLiteral("collection")) != nullptr;
}

QString userName(const ASXMLDomNode &node) {
    const ASXMLDomNodePtr href = node.findFirstName(QStringLiteral("href"));
    return href ? VDCommonUtils::perseUserName(href->elementValue) : QString();
}

bool isOne(const ASXMLDomNode &node) {
    return node.elementValue == u"1";
}

// Milliseconds since 1970.
QDateTime uploadDate(const QString &value) {
    constexpr double kReach = 1e15;
    const double milliseconds = doubleValue(value);
    return std::abs(milliseconds) < kReach
               ? QDateTime::fromMSecsSinceEpoch(qint64(milliseconds), Qt::UTC)
               : QDateTime();
}

void readLock(const ASXMLDomNode &node, Reading &reading) {
    reading.resource.lockDiscovery = LockDiscovery::createFromXmlNode(node, nullptr);
    reading.hasLock = reading.resource.lockDiscovery != nullptr;
}

void settleLockModes(const Reading &reading) {
    if (!reading.resource.lockDiscovery)
        return;
    reading.resource.lockDiscovery->lockFileShare = reading.lockShare;
    reading.resource.lockDiscovery->lockFileAccess = reading.lockAccess;
}

// What both ways of reading have in common. "checked-in" and the two "velmoradisk-" properties are
// asked for and left alone.
const ReaderTable kCommonReaders{
    {QStringLiteral("creationdate"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileCreationDate = VDCommonUtils::parseDate(node.elementValue);
     }},
    {QStringLiteral("getlastmodified"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileLastModified =
             VDCommonUtils::parseLastmodifiedDate(node.elementValue);
     }},
    {QStringLiteral("getcontentlength"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileSize = std::max<qint64>(longLongValue(node.elementValue), 0);
     }},
    {QStringLiteral("getetag"),
     [](const ASXMLDomNode &node, Reading &reading) {
         const QString &tag = node.elementValue;
         reading.resource.etag = tag.startsWith(u"W/") ? tag.mid(2) : tag;
     }},
    {QStringLiteral("md5"),
     [](const ASXMLDomNode &node, Reading &reading) { reading.resource.md5 = node.elementValue; }},
    {QStringLiteral("creationuser"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.creationUser = userName(node);
     }},
    {QStringLiteral("modificationuser"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.modificationUser = userName(node);
     }},
    {QStringLiteral("readonly"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.lockType = intValue(node.elementValue);
     }},
    {QStringLiteral("readonlyowner"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.readonlyOwner = userName(node);
     }},
    {QStringLiteral("expire"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.expire = node.elementValue;
     }},
    {QStringLiteral("publicaddress"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.webPublicAddress = node.elementValue;
     }},
    {QStringLiteral("filecomment"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileComment = node.elementValue;
     }},
    // The two flags are never reset.
    {QStringLiteral("publicapproval_status"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.isApproval |= isOne(node);
     }},
    {QStringLiteral("report"),
     [](const ASXMLDomNode &node, Reading &reading) { reading.resource.isReport |= isOne(node); }},
};

ReaderTable withCommonReaders(ReaderTable readers) {
    readers.insert(kCommonReaders);
    return readers;
}

const ReaderTable kItemReaders = withCommonReaders({
    {QStringLiteral("resourcetype"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.isCollection |= isCollectionType(node);
     }},
    {QStringLiteral("uploadtime"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileUploadDate =
             node.elementValue.isNull() ? QDateTime() : uploadDate(node.elementValue);
     }},
    {QStringLiteral("lockdiscovery"),
     [](const ASXMLDomNode &node, Reading &reading) {
         if (!node.elementValue.isNull() ||
             reading.lockReading == WebDavResource::LockReading::always)
             readLock(node, reading);
     }},
    {QStringLiteral("lockshare"),
     [](const ASXMLDomNode &node, Reading &reading) {
         if (!node.elementValue.isEmpty())
             reading.lockShare = intValue(node.elementValue);
     }},
    {QStringLiteral("lockaccess"),
     [](const ASXMLDomNode &node, Reading &reading) {
         if (!node.elementValue.isEmpty())
             reading.lockAccess = intValue(node.elementValue);
     }},
    {QStringLiteral("foldertype"),
     [](const ASXMLDomNode &node, Reading &reading) {
         if (!node.elementValue.isEmpty())
             reading.resource.folderType = node.elementValue;
     }},
});

// A listing's items. "lockshare", "lockaccess" and "foldertype" count there only where they hold no
// text, and then say nothing.
const ReaderTable kListedItemReaders = withCommonReaders({
    {QStringLiteral("resourcetype"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.contentType = isCollectionType(node) ? 0 : 1;
     }},
    {QStringLiteral("uploadtime"),
     [](const ASXMLDomNode &node, Reading &reading) {
         reading.resource.fileUploadDate = uploadDate(node.elementValue);
     }},
    {QStringLiteral("lockdiscovery"),
     [](const ASXMLDomNode &node, Reading &reading) {
         if (node.elementValue.isNull())
             readLock(node, reading);
     }},
});

void readProperty(const ReaderTable &readers, const ASXMLDomNode &node, Reading &reading) {
    if (const Reader read = readers.value(node.elementName))
        read(node, reading);
}

// From a whole answer or one "response" of it.
template <typename Source>
std::shared_ptr<WebDavResource> readItem(const Source &source,
                                         WebDavResource::LockReading lockReading) {
    const auto resource = std::make_shared<WebDavResource>();
    Reading reading{*resource, lockReading};
    forEachProperty(source,
                    [&](const ASXMLDomNode &node) { readProperty(kItemReaders, node, reading); });
    if (!resource->fileUploadDate.isValid())
        resource->fileUploadDate = resource->fileLastModified;
    resource->contentType = reading.isCollection ? 0 : 1;
    if (reading.hasLock)
        resource->lockType = kLocked;
    settleLockModes(reading);
    return resource;
}

}  // namespace

std::shared_ptr<WebDavResource> WebDavResource::parsePropertyXML(const ASXMLDomParser &parser,
                                                                 LockReading lockReading) {
    return readItem(parser, lockReading);
}

std::shared_ptr<WebDavResource> WebDavResource::parsePropertyXML(const ASXMLDomNode &response,
                                                                 LockReading lockReading) {
    return readItem(response, lockReading);
}

QHash<QString, std::shared_ptr<WebDavResource>> WebDavResource::createFromHash(
    const QHash<QString, std::shared_ptr<ASXMLDomNode>> &nodes, const QUrl &serverRoot,
    const QString &publicHostFromServer) {
    QHash<QString, std::shared_ptr<WebDavResource>> resources;
    for (auto item = nodes.begin(); item != nodes.end(); ++item) {
        const auto resource = std::make_shared<WebDavResource>();
        resource->serverRoot = serverRoot;
        resource->publicHostFromServer = publicHostFromServer;
        resource->relativePath = item.key();
        Reading reading{*resource};
        for (const ASXMLDomNodePtr &prop : item.value()->findName(QStringLiteral("prop"))) {
            for (const ASXMLDomNodePtr &node : prop->children)
                readProperty(kListedItemReaders, *node, reading);
        }
        // A lock that was told doesn't make the item locked here, unlike in a single read.
        if (!reading.hasLock && resource->lockType == kLocked)
            resource->lockType = 0;
        settleLockModes(reading);
        resources.insert(item.key(), resource);
    }
    return resources;
}
