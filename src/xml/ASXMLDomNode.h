#pragma once

#include <memory>

#include <QList>
#include <QString>

class ASXMLDomNode;
using ASXMLDomNodePtr = std::shared_ptr<ASXMLDomNode>;

// An element of a server's answer: its local name in lower case, its text and its children.
// Attributes and namespaces are not kept. Lookups compare names exactly and see direct children
// only.
class ASXMLDomNode : public std::enable_shared_from_this<ASXMLDomNode> {
  public:
    QString elementName;
    // All text directly inside, white space included, in the order it came; null where there is
    // none.
    QString elementValue;
    QList<ASXMLDomNodePtr> children;
    std::weak_ptr<ASXMLDomNode> parent;

    // Leaves the child's parent as it is.
    void appendChild(const ASXMLDomNodePtr &child);
    QList<ASXMLDomNodePtr> findName(const QString &name) const;
    // Null where there is none.
    ASXMLDomNodePtr findFirstName(const QString &name) const;
    // Follows a path such as "propstat/prop/href", at each step into the first match alone. Null as
    // soon as a step finds nothing; this node itself for the empty path.
    ASXMLDomNodePtr findFirstXName(const QString &path);
    // The index of the first match at or after `from`, -1 without one.
    int findIndexName(const QString &name, int from) const;
    // The number of ancestors.
    int depth() const;

    // Logs the tree below this node, names and text.
    void debugDump() const;
    void debugDump(int indent) const;
};
