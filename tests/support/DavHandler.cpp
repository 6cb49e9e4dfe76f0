#include "DavHandler.h"

#include <algorithm>

#include <QCryptographicHash>
#include <QLocale>
#include <QRegularExpression>
#include <QUrl>

QByteArray httpDate(const QDateTime &time) {
    return QLocale::c().toString(time.toUTC(), u"ddd, dd MMM yyyy HH:mm:ss 'GMT'").toUtf8();
}

DavHandler::DavHandler(ServerState &state, const RecordedRequest &request)
    : state(state), request(request), place(state.tree.placeOfTarget(request.target)) {}

HttpAnswer DavHandler::handle() {
    HttpAnswer answer = dispatch();
    if (state.velmora)
        addVendorHeaders(answer);
    for (const auto &header : state.answerHeaders) {
        if ((header.method.isEmpty() || header.method == request.method) &&
            (header.path.isEmpty() || header.path == request.path()))
            answer.headers.append(header.line);
    }
    return answer;
}

HttpAnswer DavHandler::dispatch() {
    using Operation = HttpAnswer (*)(DavHandler &);
    static const QMap<QByteArray, Operation> plain = {
        {"OPTIONS", [](DavHandler &h) { return h.options(); }},
        {"GET", [](DavHandler &h) { return h.get(); }},
        {"HEAD", [](DavHandler &h) { return h.get(); }},
        {"POST", [](DavHandler &h) { return h.post(); }},
        {"PUT", [](DavHandler &h) { return h.put(); }},
        {"DELETE", [](DavHandler &h) { return h.remove(); }},
    };
    static const QMap<QByteArray, Operation> dav = {
        {"PROPFIND", [](DavHandler &h) { return h.propfind(); }},
        {"PROPPATCH", [](DavHandler &h) { return h.proppatch(); }},
        {"MKCOL", [](DavHandler &h) { return h.makeCollection(); }},
        {"COPY", [](DavHandler &h) { return h.copyOrMove(false); }},
        {"MOVE", [](DavHandler &h) { return h.copyOrMove(true); }},
        {"LOCK", [](DavHandler &h) { return h.lock(); }},
        {"UNLOCK", [](DavHandler &h) { return h.unlock(); }},
        {"ACL", [](DavHandler &h) { return h.acl(); }},
        {"Report", [](DavHandler &h) { return h.report(); }},
        {"REPORT", [](DavHandler &h) { return h.report(); }},
    };
    const bool locks = request.method == "LOCK" || request.method == "UNLOCK";
    if (place.node && place.node->lockedName && !locks && request.method != "PUT")
        place.node = nullptr;
    if (const Operation operation = plain.value(request.method))
        return operation(*this);
    const Operation operation = dav.value(request.method);
    if (!operation || !state.dialect.dav || (locks && !state.dialect.locking))
        return HttpAnswer::text(405, "method not allowed\n", "text/plain");
    return operation(*this);
}

HttpAnswer DavHandler::options() {
    HttpAnswer answer;
    if (state.dialect.dav) {
        answer.add("DAV", state.dialect.locking ? "1,2" : "1");
        answer.add("MS-Author-Via", "DAV");
    }
    answer.add("Allow",
               "OPTIONS,GET,HEAD,POST,PUT,DELETE,PROPFIND,PROPPATCH,MKCOL,COPY,MOVE,LOCK,UNLOCK");
    for (const HeaderLine &line : state.optionsHeaders) {
        answer.headers.removeIf([&line](const HeaderLine &own) { return own.name == line.name; });
        if (!line.value.isNull())
            answer.headers.append(line);
    }
    return answer;
}

std::optional<DavHandler::ByteRange> DavHandler::askedRange(qint64 size) const {
    using Literal = TestServer::Dialect::LiteralRange;
    QByteArray text = request.header("Range");
    if (text.isEmpty() && state.velmora)
        text = request.header("Content-Range");
    if (text.isEmpty() || rangesIgnored || !state.dialect.ranges)
        return std::nullopt;
    static const QRegularExpression pattern(
        QStringLiteral(R"re(^bytes([= ])\s*(\d*)-(\d*)(/\d+)?$)re"));
    const auto match = pattern.match(QString::fromLatin1(text));
    if (!match.hasMatch())
        return std::nullopt;
    if (match.captured(1) == " " && state.dialect.literalRange != Literal::accept) {
        if (state.dialect.literalRange == Literal::refuse)
            return ByteRange{.refuse = true};
        return std::nullopt;
    }
    ByteRange range;
    if (match.captured(2).isEmpty()) {
        range.first = std::max<qint64>(0, size - match.captured(3).toLongLong());
        range.last = size - 1;
    } else {
        range.first = match.captured(2).toLongLong();
        range.last = match.captured(3).isEmpty() ? size - 1 : match.captured(3).toLongLong();
    }
    range.last = std::min(range.last, size - 1);
    range.refuse = range.first > range.last;
    return range;
}

void DavHandler::addEntityHeaders(HttpAnswer &answer, const DavNode &node) const {
    answer.add("Last-Modified", httpDate(node.modified));
    if (state.dialect.etags)
        answer.add("ETag", node.etag);
    if (state.dialect.ranges)
        answer.add("Accept-Ranges", "bytes");
    if (state.velmora)
        answer.add("X-KQ-CreationDate", httpDate(node.created));
}

HttpAnswer DavHandler::get() {
    if (!place.node)
        return HttpAnswer::text(404, "not found\n", "text/plain");
    if (place.node->folder)
        return HttpAnswer::text(200, "<html><body>a folder</body></html>\n", "text/html");
    HttpAnswer answer = HttpAnswer::text(200, {}, "application/octet-stream");
    addEntityHeaders(answer, *place.node);
    answer.body = place.node->content;
    const qint64 size = answer.body.size();
    const auto range = request.method == "GET" ? askedRange(size) : std::nullopt;
    if (range && range->refuse) {
        HttpAnswer refusal = HttpAnswer::text(416, {}, {});
        refusal.add("Content-Range", "bytes */" + QByteArray::number(size));
        return refusal;
    }
    if (range) {
        answer.status = 206;
        answer.offset = range->first;
        answer.length = range->last - range->first + 1;
        answer.add("Content-Range", "bytes " + QByteArray::number(range->first) + '-' +
                                        QByteArray::number(range->last) + '/' +
                                        QByteArray::number(size));
    }
    return answer;
}

void DavHandler::setDatesFromHeaders(DavNode &node) const {
    const auto date = [this](const char *name) {
        return QDateTime::fromString(QString::fromLatin1(request.header(name)), Qt::RFC2822Date);
    };
    if (const QDateTime time = date("X-KQ-LastModified"); time.isValid())
        node.modified = time;
    if (const QDateTime time = date("X-KQ-CreationDate"); time.isValid())
        node.created = time;
}

bool DavHandler::refusedByExtension(HttpAnswer &answer, const DavPlace &of) const {
    for (const QByteArray &extension : state.refusedExtensions) {
        if (!of.key.endsWith('.' + extension))
            continue;
        answer = HttpAnswer::text(403, "refused\n", "text/plain");
        answer.add("X-KQ-REFUSAL-EXTENSION", extension);
        return true;
    }
    return false;
}

HttpAnswer DavHandler::put() {
    using Partial = TestServer::Dialect::PartialPut;
    HttpAnswer refusal;
    if (refusedByExtension(refusal, place))
        return refusal;
    if (!place.parent)
        return HttpAnswer::text(place.node ? 405 : 409, {}, {});
    if (place.node && place.node->folder)
        return HttpAnswer::text(405, {}, {});
    if (const int status = lockRefusal({place}))
        return HttpAnswer::text(status, {}, {});

    Content content{.data = request.body};
    static const QRegularExpression pattern(QStringLiteral(R"re(^bytes (\d+)-(\d+)/(\d+|\*)$)re"));
    const auto part = pattern.match(QString::fromLatin1(request.header("Content-Range")));
    if (part.hasMatch() && state.dialect.partialPut == Partial::refuse)
        return HttpAnswer::text(400, {}, {});
    if (part.hasMatch() && state.dialect.partialPut == Partial::apply) {
        const qint64 first = part.captured(1).toLongLong();
        QByteArray whole = place.node ? place.node->content.data : QByteArray();
        if (first == 0)
            whole.clear();
        if (whole.size() < first)
            whole.append(first - whole.size(), '\0');
        whole.replace(first, request.body.size(), request.body);
        content.data = whole;
    }
    const bool existed = place.node && !place.node->lockedName;
    const NodePtr node = state.tree.put(place, false, content);
    node->lockedName = false;
    if (state.velmora)
        setDatesFromHeaders(*node);
    HttpAnswer answer{.status = existed ? 204 : 201};
    if (state.dialect.etags)
        answer.add("ETag", node->etag);
    return answer;
}

HttpAnswer DavHandler::makeCollection() {
    if (place.node)
        return HttpAnswer::text(405, {}, {});
    if (!place.parent)
        return HttpAnswer::text(409, {}, {});
    if (!request.body.isEmpty())
        return HttpAnswer::text(415, {}, {});
    state.tree.put(place, true, {});
    return {.status = 201};
}

HttpAnswer DavHandler::remove() {
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    if (!place.parent)
        return HttpAnswer::text(403, {}, {});
    if (const int status = lockRefusal({place}))
        return HttpAnswer::text(status, {}, {});
    state.tree.erase(place);
    return {.status = 204};
}

HttpAnswer DavHandler::copyOrMove(bool move) {
    const QByteArray destination = request.header("Destination");
    const QUrl url(QString::fromLatin1(destination), QUrl::StrictMode);
    const bool full = url.isValid() && !url.scheme().isEmpty() && !url.host().isEmpty();
    if (destination.isEmpty() || (!full && !state.dialect.pathDestination))
        return HttpAnswer::text(400, {}, {});
    if (full && url.port(state.mode == TestServer::Https ? 443 : 80) != state.port)
        return HttpAnswer::text(502, {}, {});
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    const DavPlace target = state.tree.placeOfTarget(destination);
    if (!place.parent || target.node == place.node || target.path.startsWith(place.path + '/'))
        return HttpAnswer::text(403, {}, {});
    HttpAnswer refusal;
    if (refusedByExtension(refusal, target))
        return refusal;
    if (!target.parent)
        return HttpAnswer::text(409, {}, {});
    if (target.node && request.header("Overwrite").toUpper() == "F")
        return HttpAnswer::text(412, {}, {});
    if (const int status = lockRefusal(move ? QList{place, target} : QList{target}))
        return HttpAnswer::text(status, {}, {});

    const bool existed = target.node != nullptr;
    const NodePtr node = state.tree.copy(place.node, target);
    if (move) {
        node->etag = place.node->etag;
        state.tree.erase(place);
    }
    return {.status = existed ? 204 : 201};
}

HttpAnswer DavHandler::post() {
    const auto found = state.postAnswers.constFind(request.path());
    if (found == state.postAnswers.cend())
        return HttpAnswer::text(place.node ? 405 : 404, {}, {});
    return HttpAnswer::text(found->status, found->body, found->contentType);
}

HttpAnswer DavHandler::report() {
    if (!place.node)
        return HttpAnswer::text(404, {}, {});
    return HttpAnswer::text(207,
                            "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
                            "<D:multistatus xmlns:D=\"DAV:\"></D:multistatus>",
                            "text/xml; charset=\"utf-8\"");
}

HttpAnswer DavHandler::acl() {
    if (!state.velmora)
        return HttpAnswer::text(405, {}, {});
    return {.status = place.node ? 200 : 404};
}

void DavHandler::addVendorHeaders(HttpAnswer &answer) const {
    if (request.has("X-KQ-CHECK-WRITABLE") && answer.status < 300) {
        const QByteArray value = state.writableAnswers.value(request.path(), "true");
        if (!value.isNull())
            answer.add("X-KQ-CHECK-WRITABLE", value);
    }
    if (request.has("X-KQ-GET-QUOTA") && !state.quotaAnswer.isNull())
        answer.add("X-KQ-GET-QUOTA", state.quotaAnswer);
    if (request.has("X-KQ-QUERY-UPLOAD") && state.uploadLimit >= 0 &&
        request.header("X-KQ-QUERY-UPLOAD").toLongLong() > state.uploadLimit)
        answer.add("X-KQ-QUERY-UPLOAD", "quota");
    if ((request.has("X-KQ-SET-PUBLIC") || request.has("X-KQ-CHANGE-PUBLIC")) &&
        !state.publicAddress.isNull() && answer.status < 300)
        answer.add("X-KQ-SET-PUBLIC", state.publicAddress);
    if (request.method == "HEAD" && request.has("X-KQ-Partial-MD5") && answer.status == 200) {
        const QList<QByteArray> ends = request.header("X-KQ-Partial-MD5").mid(6).split('-');
        const qint64 first = ends.value(0).toLongLong();
        const qint64 last = ends.value(1).toLongLong();
        answer.add("X-KQ-Partial-MD5",
                   QCryptographicHash::hash(place.node->content.read(first, last - first + 1),
                                            QCryptographicHash::Md5)
                       .toHex());
    }
}
