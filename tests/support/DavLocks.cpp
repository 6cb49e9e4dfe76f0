// The locks of the test server: LOCK, UNLOCK, If headers.
#include <algorithm>

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include "DavHandler.h"

namespace {

constexpr qint64 kDefaultTimeout = 604800;

void dropExpired(DavNode &node) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::erase_if(node.locks, [&now](const DavLock &lock) { return lock.expires < now; });
}

qint64 askedTimeout(const RecordedRequest &request) {
    const QByteArray text = request.header("Timeout").split(',').value(0).trimmed();
    bool isNumber = false;
    const qint64 seconds = text.mid(7).toLongLong(&isNumber);
    return text.startsWith("Second-") && isNumber ? seconds : kDefaultTimeout;
}

void setTimeout(DavLock &lock, qint64 seconds) {
    lock.timeout = seconds;
    lock.expires = QDateTime::currentDateTimeUtc().addSecs(seconds);
}

QByteArray newToken() {
    return "opaquelocktoken:" +
           QByteArray::number(QRandomGenerator::global()->generate64() | 1, 16);
}

struct LockInfo {
    bool valid = false;
    bool shared = false;
    QString ownerXml;
};

LockInfo parseLockInfo(const QByteArray &body) {
    LockInfo info;
    QXmlStreamReader xml(body);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.namespaceUri() != u"DAV:")
            continue;
        if (xml.name() == u"shared")
            info.shared = true;
        if (xml.name() != u"owner")
            continue;
        QXmlStreamWriter writer(&info.ownerXml);
        for (int depth = 1; depth > 0 && !xml.atEnd();) {
            xml.readNext();
            depth += xml.isStartElement() ? 1 : xml.isEndElement() ? -1 : 0;
            if (depth > 0)
                writer.writeCurrentToken(xml);
        }
    }
    info.valid = !xml.hasError();
    return info;
}

struct IfList {
    QByteArray tag;  // null without one
    QList<QByteArray> tokens;
};

// Tokens without regard to "Not" and etags, which no client here sends.
QList<IfList> parseIf(const QByteArray &header) {
    QList<IfList> lists;
    static const QRegularExpression part(QStringLiteral(R"re(<([^>]*)>|\(([^)]*)\))re"));
    static const QRegularExpression token(QStringLiteral("<([^>]*)>"));
    QByteArray tag;
    auto parts = part.globalMatch(QString::fromLatin1(header));
    while (parts.hasNext()) {
        const auto match = parts.next();
        if (match.hasCaptured(1) && !match.captured(1).isNull() && match.capturedStart(2) < 0) {
            tag = match.captured(1).toLatin1();
            continue;
        }
        IfList list{.tag = tag, .tokens = {}};
        auto tokens = token.globalMatch(match.captured(2));
        while (tokens.hasNext())
            list.tokens.append(tokens.next().captured(1).toLatin1());
        lists.append(list);
    }
    return lists;
}

}  // namespace

QByteArray DavHandler::lockXml(const DavNode &node) const {
    QByteArray xml;
    for (const DavLock &lock : node.locks) {
        xml += "<D:activelock><D:locktype><D:write/></D:locktype><D:lockscope>";
        xml += QByteArray("<D:") + (lock.shared ? "shared" : "exclusive");
        xml += "/></D:lockscope><D:depth>";
        xml += lock.infiniteDepth ? "infinity" : "0";
        xml += "</D:depth><D:owner>";
        if (state.dialect.echoOwner)
            xml += lock.ownerXml.toUtf8();
        xml += "</D:owner><D:timeout>Second-" + QByteArray::number(lock.timeout) +
               "</D:timeout><D:locktoken><D:href>" + lock.token +
               "</D:href></D:locktoken></D:activelock>";
    }
    return xml;
}

QList<QByteArray> DavHandler::submittedTokens() const {
    QList<QByteArray> tokens;
    for (const IfList &list : parseIf(request.header("If")))
        tokens.append(list.tokens);
    return tokens;
}

bool DavHandler::ifHeaderHolds(bool needsTags) const {
    if (!request.has("If") || !state.dialect.strictIf)
        return true;
    const QList<IfList> lists = parseIf(request.header("If"));
    return std::any_of(lists.begin(), lists.end(), [&](const IfList &list) {
        if (list.tag.isNull() && needsTags)
            return false;
        const DavPlace of = list.tag.isNull() ? place : state.tree.placeOfTarget(list.tag);
        if (!of.node || list.tokens.isEmpty())
            return false;
        return std::all_of(list.tokens.begin(), list.tokens.end(), [&of](const auto &token) {
            return std::any_of(of.node->locks.begin(), of.node->locks.end(),
                               [&token](const DavLock &lock) { return lock.token == token; });
        });
    });
}

int DavHandler::lockRefusal(const QList<DavPlace> &places) {
    for (const DavPlace &of : places) {
        if (of.node)
            dropExpired(*of.node);
    }
    if (!ifHeaderHolds(places.size() > 1))
        return 412;
    const QList<QByteArray> tokens = submittedTokens();
    for (const DavPlace &of : places) {
        if (!of.node || of.node->locks.empty())
            continue;
        const bool submitted =
            std::any_of(of.node->locks.begin(), of.node->locks.end(),
                        [&tokens](const DavLock &lock) { return tokens.contains(lock.token); });
        if (!submitted)
            return 423;
    }
    return 0;
}

HttpAnswer DavHandler::refreshLock() {
    const QByteArray header = request.header("If");
    if (state.dialect.strictIf && !header.trimmed().startsWith('('))
        return HttpAnswer::text(400, {}, {});
    const QList<QByteArray> tokens = submittedTokens();
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    for (DavLock &lock : place.node->locks) {
        if (!tokens.contains(lock.token))
            continue;
        setTimeout(lock, askedTimeout(request));
        return HttpAnswer::text(200,
                                "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:prop "
                                "xmlns:D=\"DAV:\"><D:lockdiscovery>" +
                                    lockXml(*place.node) + "</D:lockdiscovery></D:prop>",
                                "text/xml; charset=\"utf-8\"");
    }
    return HttpAnswer::text(412, {}, {});
}

HttpAnswer DavHandler::lock() {
    if (place.node)
        dropExpired(*place.node);
    if (request.body.isEmpty())
        return request.has("If") ? refreshLock() : HttpAnswer::text(400, {}, {});
    if (!place.node && !place.parent)
        return HttpAnswer::text(409, {}, {});
    const LockInfo info = parseLockInfo(request.body);
    if (!info.valid)
        return HttpAnswer::text(400, {}, {});
    const bool existed = place.node != nullptr;
    if (existed) {
        const auto &locks = place.node->locks;
        const bool conflict =
            !locks.empty() &&
            (!info.shared ||
             std::any_of(locks.begin(), locks.end(), [](const DavLock &l) { return !l.shared; }));
        if (conflict)
            return HttpAnswer::text(423, {}, {});
    } else {
        place.node = state.tree.put(place, false, {});
        place.node->lockedName = state.velmora;
    }
    DavLock lock{.token = newToken(),
                 .ownerXml = info.ownerXml,
                 .shared = info.shared,
                 .infiniteDepth = request.header("Depth") != "0",
                 .timeout = 0,
                 .expires = {}};
    setTimeout(lock, askedTimeout(request));
    place.node->locks.push_back(lock);
    HttpAnswer answer = HttpAnswer::text(existed || state.velmora ? 200 : 201,
                                         "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:prop "
                                         "xmlns:D=\"DAV:\"><D:lockdiscovery>" +
                                             lockXml(*place.node) + "</D:lockdiscovery></D:prop>",
                                         "text/xml; charset=\"utf-8\"");
    answer.add("Lock-Token", '<' + lock.token + '>');
    return answer;
}

HttpAnswer DavHandler::unlock() {
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    QByteArray token = request.header("Lock-Token");
    if (!token.startsWith('<') || !token.endsWith('>'))
        return HttpAnswer::text(400, {}, {});
    token = token.mid(1, token.size() - 2);
    dropExpired(*place.node);
    const auto removed = std::erase_if(
        place.node->locks, [&token](const DavLock &lock) { return lock.token == token; });
    if (place.node->lockedName && place.node->locks.empty())
        state.tree.erase(place);
    return HttpAnswer::text(removed ? 204 : 409, {}, {});
}
