// PROPFIND and PROPPATCH of the test server.
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include "DavHandler.h"

namespace {

const QString kDav = QStringLiteral("DAV:");

QString innerXml(QXmlStreamReader &xml) {
    QString text;
    QXmlStreamWriter writer(&text);
    for (int depth = 1; depth > 0 && !xml.atEnd();) {
        xml.readNext();
        depth += xml.isStartElement() ? 1 : xml.isEndElement() ? -1 : 0;
        if (depth > 0 && xml.isCharacters())
            writer.writeCharacters(xml.text().toString());  // a CDATA section as plain text
        else if (depth > 0)
            writer.writeCurrentToken(xml);
    }
    return text;
}

// "<x0:name xmlns:x0=...>inner</x0:name>"
QByteArray element(const PropertyName &name, const QString &inner) {
    const bool dav = name.nameSpace == kDav;
    const QString tag = dav                        ? "D:" + name.name
                        : name.nameSpace.isEmpty() ? name.name
                                                   : "x0:" + name.name;
    QString text = '<' + tag;
    if (!dav && !name.nameSpace.isEmpty())
        text += " xmlns:x0=\"" + name.nameSpace.toHtmlEscaped() + '"';
    text += inner.isEmpty() ? "/>" : '>' + inner + "</" + tag + '>';
    return text.toUtf8();
}

QByteArray propstat(const QByteArray &properties, const char *status) {
    return "<D:propstat><D:prop>" + properties + "</D:prop><D:status>HTTP/1.1 " + status +
           "</D:status></D:propstat>";
}

struct Asked {
    QList<PropertyName> names;
    bool all = false;
    bool namesOnly = false;
    bool valid = true;
};

Asked parsePropfind(const QByteArray &body) {
    Asked asked;
    asked.all = body.isEmpty();
    if (body.isEmpty())
        return asked;
    QXmlStreamReader xml(body);
    int depth = 0;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::EndElement)
            --depth;
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++depth;
        if (depth == 2 && xml.name() == u"allprop")
            asked.all = true;
        if (depth == 2 && xml.name() == u"propname")
            asked.namesOnly = true;
        if (depth == 3)
            asked.names.append({xml.namespaceUri().toString(), xml.name().toString()});
    }
    asked.valid = !xml.hasError();
    return asked;
}

const QList<PropertyName> kLive = {
    {kDav, QStringLiteral("resourcetype")},    {kDav, QStringLiteral("creationdate")},
    {kDav, QStringLiteral("getlastmodified")}, {kDav, QStringLiteral("getcontentlength")},
    {kDav, QStringLiteral("getcontenttype")},  {kDav, QStringLiteral("getetag")},
    {kDav, QStringLiteral("supportedlock")},   {kDav, QStringLiteral("lockdiscovery")},
    {kDav, QStringLiteral("displayname")},
};

}  // namespace

QByteArray DavHandler::hrefOf(const QByteArray &rawPath, bool folder) const {
    QByteArray href = rawPath;
    if (folder && state.dialect.folderSlash && !href.endsWith('/'))
        href += '/';
    if (!state.dialect.fullUrlHrefs)
        return href;
    return (state.mode == TestServer::Https ? "https://" : "http://") + request.header("Host") +
           href;
}

QString DavHandler::liveProperty(const DavNode &node, const PropertyName &name) const {
    if (name.nameSpace != kDav)
        return {};
    const auto text = [](const QString &value) { return value.isNull() ? QString("") : value; };
    if (name.name == u"resourcetype")
        return node.folder ? "<D:collection/>" : "";
    if (name.name == u"creationdate")
        return node.created.toUTC().toString(Qt::ISODate);
    if (name.name == u"getlastmodified")
        return QString::fromLatin1(httpDate(node.modified));
    if (name.name == u"getcontentlength" && !node.folder)
        return QString::number(node.content.size());
    if (name.name == u"getcontenttype")
        return node.folder ? "httpd/unix-directory" : "application/octet-stream";
    if (name.name == u"getetag" && state.dialect.etags)
        return QString::fromLatin1(node.etag);
    if (name.name == u"supportedlock" && state.dialect.locking)
        return "<D:lockentry><D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/>"
               "</D:locktype></D:lockentry>";
    if (name.name == u"lockdiscovery" && state.dialect.locking)
        return text(QString::fromUtf8(lockXml(node)));
    if (name.name == u"displayname" && state.dialect.displayNames)
        return text(QString::fromUtf8(node.name).toHtmlEscaped());
    return {};
}

QByteArray DavHandler::responseElement(const QByteArray &href, const DavNode &node,
                                       const QList<PropertyName> &asked, bool all,
                                       bool namesOnly) const {
    const auto valueOf = [&](const PropertyName &name) {
        const auto stored = node.properties.constFind(name);
        return stored != node.properties.cend() ? *stored : liveProperty(node, name);
    };
    QList<PropertyName> names = asked;
    if (all || namesOnly) {
        names = kLive;
        for (const PropertyName &name : node.properties.keys()) {
            if (!names.contains(name))
                names.append(name);
        }
    }
    QByteArray found;
    QByteArray missing;
    for (const PropertyName &name : names) {
        const QString value = valueOf(name);
        if (!value.isNull())
            found += element(name, namesOnly ? QString() : value);
        else if (!all && !namesOnly)
            missing += element(name, {});
    }
    QByteArray xml = "<D:response><D:href>" + href + "</D:href>";
    if (!found.isEmpty() || missing.isEmpty())
        xml += propstat(found, "200 OK");
    if (!missing.isEmpty())
        xml += propstat(missing, "404 Not Found");
    return xml + "</D:response>\n";
}

HttpAnswer DavHandler::propfind() {
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    const Asked asked = parsePropfind(request.body);
    if (!asked.valid)
        return HttpAnswer::text(400, {}, {});
    QByteArray path = request.target.split('?').value(0);
    if (const auto scheme = path.indexOf("://"); scheme >= 0)
        path = path.mid(path.indexOf('/', scheme + 3));
    QByteArray xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:multistatus xmlns:D=\"DAV:\">\n";
    const auto add = [&](const QByteArray &href, const DavNode &node) {
        xml += responseElement(href, node, asked.names, asked.all, asked.namesOnly);
    };
    add(hrefOf(path, place.node->folder), *place.node);
    if (request.header("Depth") != "0" && place.node->folder) {
        if (!path.endsWith('/'))
            path += '/';
        for (const auto &[key, child] : place.node->children) {
            if (child->lockedName)
                continue;
            const QByteArray name =
                child->hrefName.isNull() ? child->name.toPercentEncoding() : child->hrefName;
            add(hrefOf(path + name, child->folder), *child);
        }
    }
    return HttpAnswer::text(207, xml + "</D:multistatus>\n", "text/xml; charset=\"utf-8\"");
}

HttpAnswer DavHandler::proppatch() {
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    if (state.dialect.xmlNeedsContentType && !request.header("Content-Type").contains("xml"))
        return HttpAnswer::text(415, {}, {});
    if (const int status = lockRefusal({place}))
        return HttpAnswer::text(status, {}, {});
    QXmlStreamReader xml(request.body);
    QByteArray done;
    QByteArray refused;
    QMap<PropertyName, QString> changes;
    bool removing = false;
    int depth = 0;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::EndElement)
            --depth;
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++depth;
        if (depth == 2)
            removing = xml.name() == u"remove";
        if (depth != 4)
            continue;
        const PropertyName name{xml.namespaceUri().toString(), xml.name().toString()};
        QString value = innerXml(xml);
        --depth;
        (kLive.contains(name) && name.name != u"displayname" ? refused : done) += element(name, {});
        if (value.isNull())
            value = QString("");
        changes[name] = removing ? QString() : value;
    }
    if (xml.hasError())
        return HttpAnswer::text(400, {}, {});
    if (refused.isEmpty()) {
        for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
            if (it.value().isNull())
                place.node->properties.remove(it.key());
            else
                place.node->properties[it.key()] = it.value();
        }
    }
    QByteArray answer =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:multistatus "
        "xmlns:D=\"DAV:\"><D:response><D:href>" +
        hrefOf(request.target, place.node->folder) + "</D:href>";
    if (!done.isEmpty())
        answer += propstat(done, refused.isEmpty() ? "200 OK" : "424 Failed Dependency");
    if (!refused.isEmpty())
        answer += propstat(refused, "403 Forbidden");
    return HttpAnswer::text(207, answer + "</D:response></D:multistatus>",
                            "text/xml; charset=\"utf-8\"");
}
