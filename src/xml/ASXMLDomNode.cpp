#include "xml/ASXMLDomNode.h"

#include "common/Log.h"

void ASXMLDomNode::appendChild(const ASXMLDomNodePtr &child) {
    children.append(child);
}

QList<ASXMLDomNodePtr> ASXMLDomNode::findName(const QString &name) const {
    QList<ASXMLDomNodePtr> found;
    for (const ASXMLDomNodePtr &child : children) {
        if (child->elementName == name)
            found.append(child);
    }
    return found;
}

ASXMLDomNodePtr ASXMLDomNode::findFirstName(const QString &name) const {
    const int index = findIndexName(name, 0);
    return index < 0 ? nullptr : children[index];
}

ASXMLDomNodePtr ASXMLDomNode::findFirstXName(const QString &path) {
    ASXMLDomNodePtr node = shared_from_this();
    for (const QString &name : path.split(u'/', Qt::SkipEmptyParts)) {
        node = node->findFirstName(name);
        if (!node)
            return nullptr;
    }
    return node;
}

int ASXMLDomNode::findIndexName(const QString &name, int from) const {
    for (qsizetype i = qMax(from, 0); i < children.size(); ++i) {
        if (children[i]->elementName == name)
            return int(i);
    }
    return -1;
}

int ASXMLDomNode::depth() const {
    int ancestors = 0;
    for (ASXMLDomNodePtr node = parent.lock(); node; node = node->parent.lock())
        ++ancestors;
    return ancestors;
}

void ASXMLDomNode::debugDump() const {
    debugDump(0);
}

void ASXMLDomNode::debugDump(int indent) const {
    VDLog(QString(indent * 2, u' ') + elementName + QStringLiteral(": ") + elementValue);
    for (const ASXMLDomNodePtr &child : children)
        child->debugDump(indent + 1);
}
