#include "webdav/LockDiscovery.h"

#include <QHash>

#include "xml/ASXMLDomParser.h"

namespace {

constexpr int kParseFailure = 15;

using Reader = void (*)(const ASXMLDomNode &node, LockDiscovery &lock);

void readScope(const ASXMLDomNode &node, LockDiscovery &lock) {
    for (const ASXMLDomNodePtr &child : node.children)
        lock.lockscope = child->elementName;
}

void readToken(const ASXMLDomNode &node, LockDiscovery &lock) {
    // A token is a URI: what blanks a server wraps it in are no part of it, and it goes into header
    // fields.
    for (const ASXMLDomNodePtr &href : node.findName(QStringLiteral("href")))
        lock.locktoken = href->elementValue.trimmed();
}

// The kind of lock goes to the scope, where a "lockscope" behind it overwrites it.
const QHash<QString, Reader> kReaders{
    {QStringLiteral("locktype"), readScope},
    {QStringLiteral("lockscope"), readScope},
    {QStringLiteral("depth"),
     [](const ASXMLDomNode &node, LockDiscovery &lock) { lock.depth = node.elementValue; }},
    {QStringLiteral("owner"),
     [](const ASXMLDomNode &node, LockDiscovery &lock) { lock.owner = node.elementValue; }},
    {QStringLiteral("timeout"),
     [](const ASXMLDomNode &node, LockDiscovery &lock) { lock.timeOut = node.elementValue; }},
    {QStringLiteral("locktoken"), readToken},
};

std::shared_ptr<LockDiscovery> readBody(const QByteArray &body, ErrorOut error,
                                        const QString &pathToLock) {
    ASXMLDomParser parser;
    if (!parser.parse(body)) {
        setError(error, {kConnectErrorDomain,
                         kParseFailure,
                         {{QStringLiteral("OUTPUT"), QStringLiteral("Failure XML PARSE")}}});
        return nullptr;
    }
    if (!parser.rootElement)
        return nullptr;
    const ASXMLDomNodePtr node = parser.rootElement->findFirstXName(pathToLock);
    return node ? LockDiscovery::createFromXmlNode(*node, error) : nullptr;
}

}  // namespace

std::shared_ptr<LockDiscovery> LockDiscovery::createFromXmlNode(const ASXMLDomNode &node,
                                                                ErrorOut) {
    const QList<ASXMLDomNodePtr> locks = node.findName(QStringLiteral("activelock"));
    if (locks.isEmpty())
        return nullptr;
    const auto lock = std::make_shared<LockDiscovery>();
    lock->isLock = true;
    for (const ASXMLDomNodePtr &child : locks.last()->children) {
        if (const Reader read = kReaders.value(child->elementName))
            read(*child, *lock);
    }
    return lock;
}

std::shared_ptr<LockDiscovery> LockDiscovery::createFromXmlFromLockbody(const QByteArray &body,
                                                                        ErrorOut error) {
    return readBody(body, error, QStringLiteral("lockdiscovery"));
}

std::shared_ptr<LockDiscovery> LockDiscovery::createFromXmlFromPropfindbody(const QByteArray &body,
                                                                            ErrorOut error) {
    return readBody(body, error, QStringLiteral("response/propstat/prop/lockdiscovery"));
}
