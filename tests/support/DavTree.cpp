#include "DavTree.h"

#include <algorithm>

namespace {

QList<QByteArray> segmentsOf(const QByteArray &path) {
    QList<QByteArray> segments = path.split('/');
    segments.removeAll(QByteArray());
    return segments;
}

// Keys of entries with an href of their own can't be those of ordinary names.
QByteArray rawKey(const QByteArray &hrefName) {
    return QByteArray(1, '\0') + hrefName;
}

}  // namespace

QByteArray Content::generated(qint64 offset, qint64 length) {
    QByteArray bytes(length, Qt::Uninitialized);
    char *out = bytes.data();
    for (qint64 i = 0; i < length; ++i) {
        const quint64 word = quint64(offset + i) >> 3;
        const quint64 mixed = (word + 1) * 0x9E3779B97F4A7C15ULL;
        out[i] = char(mixed >> (8 * (quint64(offset + i) & 7)));
    }
    return bytes;
}

QByteArray Content::read(qint64 offset, qint64 length) const {
    length = std::clamp<qint64>(size() - offset, 0, length);
    return generatedSize >= 0 ? generated(offset, length) : data.mid(offset, length);
}

DavTree::DavTree() : root(newNode(true, {})) {}

NodePtr DavTree::newNode(bool folder, const QByteArray &name) {
    auto node = std::make_shared<DavNode>();
    node->folder = folder;
    node->name = name;
    touch(*node);
    node->created = node->modified;
    return node;
}

void DavTree::touch(DavNode &node) {
    node.modified = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
    node.etag = '"' + QByteArray::number(++counter, 16).rightJustified(8, '0') + '"';
}

DavPlace DavTree::walk(const QList<QByteArray> &rawSegments) const {
    DavPlace place;
    place.node = root;
    for (const QByteArray &raw : rawSegments) {
        place.parent = place.node && place.node->folder ? place.node : nullptr;
        place.node = nullptr;
        place.key = QByteArray::fromPercentEncoding(raw);
        place.path += '/' + place.key;
        if (!place.parent)
            continue;
        auto found = place.parent->children.find(rawKey(raw));
        if (found == place.parent->children.end())
            found = place.parent->children.find(place.key);
        if (found == place.parent->children.end())
            continue;
        place.key = found->first;
        place.node = found->second;
    }
    if (place.path.isEmpty())
        place.path = "/";
    return place;
}

DavPlace DavTree::placeOfTarget(const QByteArray &target) const {
    QByteArray path = target;
    if (const auto scheme = path.indexOf("://"); scheme >= 0 && !path.startsWith('/')) {
        const auto slash = path.indexOf('/', scheme + 3);
        path = slash < 0 ? QByteArray("/") : path.mid(slash);
    }
    if (const auto query = path.indexOf('?'); query >= 0)
        path.truncate(query);
    return walk(segmentsOf(path));
}

DavPlace DavTree::placeOf(const QString &path) const {
    QList<QByteArray> segments;
    for (const QByteArray &segment : segmentsOf(path.toUtf8()))
        segments.append(segment.toPercentEncoding());
    return walk(segments);
}

NodePtr DavTree::addFolder(const QString &path) {
    NodePtr node = root;
    for (const QByteArray &name : segmentsOf(path.toUtf8())) {
        NodePtr &child = node->children[name];
        if (!child)
            child = newNode(true, name);
        node = child;
    }
    return node;
}

NodePtr DavTree::addFile(const QString &path, const Content &content) {
    addFolder(path.section('/', 0, -2));
    return put(placeOf(path), false, content);
}

NodePtr DavTree::addRaw(const QString &folder, const QByteArray &hrefName, const QByteArray &data) {
    const NodePtr node = newNode(false, QByteArray::fromPercentEncoding(hrefName));
    node->hrefName = hrefName;
    node->content.data = data;
    addFolder(folder)->children[rawKey(hrefName)] = node;
    return node;
}

NodePtr DavTree::put(const DavPlace &place, bool folder, const Content &content) {
    if (place.node) {
        place.node->content = content;
        touch(*place.node);
        return place.node;
    }
    const NodePtr node = newNode(folder, place.key);
    node->content = content;
    place.parent->children[place.key] = node;
    return node;
}

void DavTree::erase(const DavPlace &place) {
    if (place.parent)
        place.parent->children.erase(place.key);
}

NodePtr DavTree::copy(const NodePtr &source, const DavPlace &target) {
    const NodePtr node = newNode(source->folder, target.key);
    node->content = source->content;
    node->modified = source->modified;
    node->created = source->created;
    node->properties = source->properties;
    if (target.node)
        node->locks = target.node->locks;
    target.parent->children[target.key] = node;
    for (const auto &[key, child] : source->children) {
        DavPlace below{node, nullptr, key, target.path + '/' + child->name};
        copy(child, below)->hrefName = child->hrefName;
    }
    return node;
}
