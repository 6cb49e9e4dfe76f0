#include "HttpPeer.h"

#include <algorithm>
#include <sys/socket.h>

#include <QSslCertificate>
#include <QTimer>

#include "DavHandler.h"
#include "ProxyRelay.h"

namespace {

constexpr qint64 kBlock = 64 * 1024;
constexpr qint64 kWriteAhead = 256 * 1024;
constexpr qint64 kRecordedBody = 16 * 1024 * 1024;
constexpr int kSlicesPerSecond = 20;

}  // namespace

HttpPeer::HttpPeer(QSslSocket *socket, std::shared_ptr<ServerState> state, int connection,
                   QObject *parent)
    : QObject(parent), socket(socket), state(std::move(state)), connection(connection) {
    socket->setParent(this);
    connect(socket, &QSslSocket::readyRead, this, &HttpPeer::read);
    connect(socket, &QSslSocket::bytesWritten, this, &HttpPeer::pump);
    connect(socket, &QSslSocket::encryptedBytesWritten, this, &HttpPeer::pump);
    connect(socket, &QSslSocket::disconnected, this, &QObject::deleteLater);
    connect(socket, &QSslSocket::errorOccurred, this, [this](QAbstractSocket::SocketError) {
        if (this->socket->state() == QAbstractSocket::UnconnectedState)
            deleteLater();
    });
}

HttpPeer::~HttpPeer() {
    socket->disconnect(this);
    const std::lock_guard guard(state->mutex);
    --state->openConnections;
}

void HttpPeer::drop(bool reset) {
    if (reset) {
        const linger now{1, 0};
        setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
    outgoing.reset();
    closing = true;
    socket->abort();
    deleteLater();
}

void HttpPeer::releaseStalled() {
    if (const auto continuation = std::exchange(whenReleased, nullptr))
        continuation();
}

void HttpPeer::read() {
    buffer += socket->readAll();
    while (!busy && !closing) {
        if (!incoming.headDone && !readHead())
            return;
        if (fault && fault->early) {
            busy = true;
            incoming.close = true;
            record();
            send(faultyAnswer());
            return;
        }
        const bool complete = readBody();
        if (cutsRequest() || !complete)
            return;
        busy = true;
        requestComplete();
    }
}

bool HttpPeer::readHead() {
    while (buffer.startsWith("\r\n"))
        buffer.remove(0, 2);
    const auto end = buffer.indexOf("\r\n\r\n");
    if (end < 0)
        return false;
    incoming = {};
    RecordedRequest &request = incoming.request;
    request.connection = connection;
    request.head = buffer.left(end + 2);
    buffer.remove(0, end + 4);

    const auto firstLineEnd = request.head.indexOf("\r\n");
    const QList<QByteArray> firstLine = request.head.left(firstLineEnd).split(' ');
    request.method = firstLine.value(0);
    request.target = firstLine.value(1);
    for (const QByteArray &line : request.head.mid(firstLineEnd + 2).split('\n')) {
        const QByteArray text = line.endsWith('\r') ? line.chopped(1) : line;
        const auto colon = text.indexOf(':');
        if (colon > 0)
            request.headers.append({text.left(colon), text.mid(colon + 1).trimmed()});
    }
    incoming.headDone = true;
    incoming.chunked = request.header("Transfer-Encoding").toLower() == "chunked";
    incoming.bodyLeft = request.header("Content-Length").toLongLong();
    incoming.close = request.header("Connection").toLower().contains("close") ||
                     firstLine.value(2) != "HTTP/1.1";
    {
        const std::lock_guard guard(state->mutex);
        fault = state->faults.take(request.method, request.path());
    }
    if (request.header("Expect").toLower() == "100-continue" && !(fault && fault->early))
        socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    return true;
}

bool HttpPeer::readBody() {
    while (incoming.chunked && incoming.bodyLeft >= 0) {
        if (!readChunk())
            return false;
    }
    if (incoming.chunked)
        return true;
    const qint64 taken = std::min<qint64>(incoming.bodyLeft, buffer.size());
    incoming.request.body += buffer.left(taken);
    buffer.remove(0, taken);
    incoming.bodyLeft -= taken;
    return incoming.bodyLeft == 0;
}

// Reads one whole chunk; false where more must arrive first.
bool HttpPeer::readChunk() {
    const auto lineEnd = buffer.indexOf("\r\n");
    if (lineEnd < 0)
        return false;
    const qint64 size = buffer.left(lineEnd).split(';').value(0).trimmed().toLongLong(nullptr, 16);
    if (buffer.size() < lineEnd + 2 + size + 2)
        return false;
    incoming.request.body += buffer.mid(lineEnd + 2, size);
    buffer.remove(0, lineEnd + 2 + size + 2);
    if (size == 0)
        incoming.bodyLeft = -1;
    return true;
}

// Whether the fault ends the connection here, within or right after the request's body.
bool HttpPeer::cutsRequest() {
    if (!fault || fault->cutRequestAfter < 0 ||
        incoming.request.body.size() < fault->cutRequestAfter)
        return false;
    incoming.request.body.truncate(fault->cutRequestAfter);
    record();
    if (fault->process)
        produceAnswer(false);
    drop(fault->reset);
    return true;
}

void HttpPeer::record() {
    RecordedRequest &request = incoming.request;
    request.bodySize = request.body.size();
    request.time = std::chrono::steady_clock::now();
    if (socket->isEncrypted())
        request.clientCommonName =
            socket->peerCertificate().subjectInfo(QSslCertificate::CommonName).value(0).toUtf8();
    {
        const std::lock_guard guard(state->mutex);
        request.number = ++state->requestCount;
        state->requests.push_back(request);
        if (request.bodySize > kRecordedBody)
            state->requests.back().body.truncate(kRecordedBody);
    }
    state->recorded.notify_all();
}

void HttpPeer::requestComplete() {
    record();
    if (fault && fault->delay.count() > 0)
        QTimer::singleShot(fault->delay, this, &HttpPeer::startAnswer);
    else
        startAnswer();
}

void HttpPeer::startAnswer() {
    if (fault && fault->stall) {
        std::optional<HttpAnswer> answer;
        if (fault->process)
            answer = produceAnswer(false);
        whenReleased = [this, answer] { send(answer ? *answer : produceAnswer(false)); };
        return;
    }
    if (fault && (fault->close || (fault->reset && fault->cutAfter < 0))) {
        if (fault->process)
            produceAnswer(false);
        closeAfterWriting(fault->reset);
        return;
    }
    if (fault && (fault->status != 0 || !fault->redirect.isEmpty())) {
        send(faultyAnswer());
        return;
    }
    if (state->mode == TestServer::HttpProxy && proxied())
        return;
    send(produceAnswer(fault && fault->ignoreRange));
}

bool HttpPeer::proxied() {
    quint16 port = 0;
    {
        const std::lock_guard guard(state->mutex);
        if (!state->login.accepts(incoming.request, "Proxy-Authorization"))
            return false;
        port = state->proxyTarget;
        for (auto it = state->requests.rbegin(); it != state->requests.rend(); ++it) {
            if (it->number == incoming.request.number)
                it->status = 200;
        }
    }
    socket->disconnect(this);
    connect(socket, &QSslSocket::disconnected, this, &QObject::deleteLater);
    new ProxyRelay(socket, incoming.request, port, this);
    return true;
}

HttpAnswer HttpPeer::produceAnswer(bool ignoreRange) {
    const std::lock_guard guard(state->mutex);
    const bool proxy = state->mode == TestServer::HttpProxy;
    if (!state->login.accepts(incoming.request, proxy ? "Proxy-Authorization" : "Authorization")) {
        HttpAnswer answer = HttpAnswer::text(proxy ? 407 : 401, "login\n", "text/plain");
        answer.add(proxy ? "Proxy-Authenticate" : "WWW-Authenticate", state->login.challenge());
        return answer;
    }
    DavHandler handler(*state, incoming.request);
    if (ignoreRange)
        handler.ignoreRange();
    return handler.handle();
}

HttpAnswer HttpPeer::faultyAnswer() {
    if (fault->process)
        produceAnswer(false);
    HttpAnswer answer{.status = fault->status ? fault->status : 302, .reason = fault->reason};
    answer.body.data = fault->body;
    if (!fault->redirect.isEmpty())
        answer.add("Location", fault->redirect);
    return answer;
}

void HttpPeer::applyXmlFault(HttpAnswer &answer, Outgoing &out) const {
    QByteArray &xml = answer.body.data;
    switch (fault->xml) {
        case Fault::Xml::asIs:
            return;
        case Fault::Xml::garbled:
            xml.replace("</D:href>", "</D:hre&f<");
            return;
        case Fault::Xml::truncated:
            xml.truncate(xml.size() / 2);
            return;
        case Fault::Xml::endless:
            xml.truncate(std::max<qsizetype>(0, xml.lastIndexOf("</D:multistatus>")));
            out.filler = QByteArray(
                             "<D:response><D:href>/endless</D:href><D:propstat><D:prop>"
                             "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat>"
                             "</D:response>\n")
                             .repeated(64);
            return;
    }
}

void HttpPeer::send(const HttpAnswer &given) {
    HttpAnswer answer = given;
    Outgoing out;
    out.closeAfter = incoming.close;
    bool chunked = false;
    {
        const std::lock_guard guard(state->mutex);
        chunked = state->dialect.chunkedAnswers;
        out.closeAfter = out.closeAfter || !state->dialect.keepAlive;
        for (auto it = state->requests.rbegin(); it != state->requests.rend(); ++it) {
            if (it->number == incoming.request.number)
                it->status = answer.status;
        }
    }
    if (fault) {
        answer.headers.append(fault->headers);
        applyXmlFault(answer, out);
        if (fault->endlessBody)
            out.filler = QByteArray(kBlock, 'x');
        out.cutAt = fault->cutAfter;
        out.stallAt = fault->stallAfter;
        out.bytesPerSecond = fault->bytesPerSecond;
        out.reset = fault->reset;
    }
    const bool bodiless = incoming.request.method == "HEAD" || answer.status == 204 ||
                          answer.status == 304 || answer.status < 200;
    const qint64 length = answer.bodyLength();
    const bool endless = !out.filler.isEmpty();
    out.chunked = chunked && !bodiless && !endless;
    out.content = answer.body;
    out.position = answer.offset;
    out.remaining = bodiless ? 0 : length;
    if (endless)
        out.fillerBytes = std::numeric_limits<qint64>::max();
    if (fault && fault->lengthDelta > 0) {
        out.filler = QByteArray(kBlock, 'x');
        out.fillerBytes = fault->lengthDelta;
    } else if (fault && fault->lengthDelta < 0) {
        out.remaining = std::max<qint64>(0, out.remaining + fault->lengthDelta);
        out.closeAfter = true;
    }
    out.closeAfter = out.closeAfter || endless;

    QByteArray head = answer.statusLine();
    if (out.chunked)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!endless && answer.status != 204 && answer.status != 304)
        head += "Content-Length: " + QByteArray::number(length) + "\r\n";
    for (const HeaderLine &line : answer.headers)
        head += line.name + ": " + line.value + "\r\n";
    head += "Date: " + httpDate(QDateTime::currentDateTimeUtc()) + "\r\n";
    if (out.closeAfter)
        head += "Connection: close\r\n";
    socket->write(head + "\r\n");
    outgoing = out;
    pump();
}

QByteArray HttpPeer::nextBlock(qint64 length) {
    QByteArray block;
    if (outgoing->remaining > 0) {
        block = outgoing->content.read(outgoing->position, std::min(length, outgoing->remaining));
        outgoing->position += block.size();
        outgoing->remaining -= block.size();
    } else {
        block = outgoing->filler.left(std::min(length, outgoing->fillerBytes));
        outgoing->fillerBytes -= block.size();
    }
    outgoing->sent += block.size();
    return block;
}

void HttpPeer::pump() {
    const auto unwritten = [this] {
        return socket->bytesToWrite() + socket->encryptedBytesToWrite();
    };
    if (closing && unwritten() == 0 && socket->state() == QAbstractSocket::ConnectedState) {
        if (resetOnClose)
            drop(true);
        else
            socket->disconnectFromHost();
        return;
    }
    while (outgoing && !whenReleased && unwritten() < kWriteAhead) {
        if (outgoing->sent == outgoing->cutAt) {
            closeAfterWriting(outgoing->reset);
            return;
        }
        if (outgoing->sent == outgoing->stallAt) {
            whenReleased = [this] {
                outgoing->stallAt = -1;
                pump();
            };
            return;
        }
        if (outgoing->remaining <= 0 && outgoing->fillerBytes <= 0) {
            answerDone();
            return;
        }
        qint64 length = kBlock;
        for (const qint64 border : {outgoing->cutAt, outgoing->stallAt}) {
            if (border > outgoing->sent)
                length = std::min(length, border - outgoing->sent);
        }
        if (const qint64 rate = outgoing->bytesPerSecond)
            length = std::clamp<qint64>(rate / kSlicesPerSecond, 1, length);
        const QByteArray block = nextBlock(length);
        socket->write(outgoing->chunked
                          ? QByteArray::number(block.size(), 16) + "\r\n" + block + "\r\n"
                          : block);
        if (outgoing->bytesPerSecond) {
            whenReleased = [this] { pump(); };
            QTimer::singleShot(1000 / kSlicesPerSecond, this, &HttpPeer::releaseStalled);
            return;
        }
    }
}

void HttpPeer::answerDone() {
    const bool close = outgoing->closeAfter;
    if (outgoing->chunked)
        socket->write("0\r\n\r\n");
    outgoing.reset();
    fault.reset();
    incoming = {};
    if (close) {
        closeAfterWriting(false);
        return;
    }
    busy = false;
    if (!buffer.isEmpty())
        QMetaObject::invokeMethod(this, &HttpPeer::read, Qt::QueuedConnection);
}

void HttpPeer::closeAfterWriting(bool reset) {
    outgoing.reset();
    closing = true;
    resetOnClose = reset;
    pump();
}
