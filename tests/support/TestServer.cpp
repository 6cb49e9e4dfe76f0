#include "TestServer.h"

#include <algorithm>

#include "HttpPeer.h"
#include "ServerState.h"
#include "ServerThread.h"

namespace {

QString plainPath(const QString &path) {
    return path.size() > 1 && path.endsWith('/') ? path.chopped(1) : path;
}

bool matches(const RecordedRequest &request, const QByteArray &method, const QString &path) {
    return (method.isEmpty() || request.method == method) &&
           (path.isEmpty() || request.path() == plainPath(path));
}

}  // namespace

TestServer::TestServer(Mode mode, const Certificate::Options &certificate)
    : state(std::make_shared<ServerState>()) {
    state->mode = mode;
    if (mode == Https)
        state->certificate = Certificate::make(certificate);
    thread = std::make_unique<ServerThread>(state);
}

TestServer::~TestServer() = default;

QString TestServer::url(const QString &path) const {
    return QStringLiteral("%1://127.0.0.1:%2")
               .arg(state->mode == Https ? "https" : "http")
               .arg(state->port) +
           QString::fromLatin1(path.toUtf8().toPercentEncoding("/"));
}

quint16 TestServer::port() const {
    return state->port;
}

QByteArray TestServer::certificatePem() const {
    return state->certificate.certificatePem;
}

// --- The tree ---

void TestServer::addFile(const QString &path, const QByteArray &data, const QDateTime &modified) {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.addFile(path, {.data = data});
    if (modified.isValid())
        node->modified = modified;
}

void TestServer::addGeneratedFile(const QString &path, qint64 size, const QDateTime &modified) {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.addFile(path, {.data = {}, .generatedSize = size});
    if (modified.isValid())
        node->modified = modified;
}

void TestServer::addFolder(const QString &path, const QDateTime &modified) {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.addFolder(path);
    if (modified.isValid())
        node->modified = modified;
}

void TestServer::addRawEntry(const QString &folder, const QByteArray &hrefName,
                             const QByteArray &data) {
    const std::lock_guard guard(state->mutex);
    state->tree.addRaw(folder, hrefName, data);
}

void TestServer::remove(const QString &path) {
    const std::lock_guard guard(state->mutex);
    state->tree.erase(state->tree.placeOf(path));
}

bool TestServer::exists(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node && !node->lockedName;
}

QByteArray TestServer::content(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    if (!node || node->folder || node->lockedName)
        return {};
    const QByteArray bytes = node->content.read(0, node->content.size());
    return bytes.isNull() ? QByteArray("") : bytes;
}

QStringList TestServer::names(const QString &folder) const {
    const std::lock_guard guard(state->mutex);
    QStringList names;
    if (const NodePtr node = state->tree.placeOf(folder).node) {
        for (const auto &[key, child] : node->children)
            names.append(QString::fromUtf8(child->name));
    }
    return names;
}

QByteArray TestServer::etag(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node ? node->etag : QByteArray();
}

QDateTime TestServer::modified(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node ? node->modified : QDateTime();
}

QDateTime TestServer::created(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node ? node->created : QDateTime();
}

void TestServer::setModified(const QString &path, const QDateTime &time) {
    const std::lock_guard guard(state->mutex);
    if (const NodePtr node = state->tree.placeOf(path).node)
        node->modified = time;
}

void TestServer::setCreated(const QString &path, const QDateTime &time) {
    const std::lock_guard guard(state->mutex);
    if (const NodePtr node = state->tree.placeOf(path).node)
        node->created = time;
}

QByteArray TestServer::generatedBytes(qint64 offset, qint64 length) {
    return Content::generated(offset, length);
}

void TestServer::setProperty(const QString &path, const QString &nameSpace, const QString &name,
                             const QString &innerXml) {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    if (!node)
        return;
    if (innerXml.isNull())
        node->properties.remove({nameSpace, name});
    else
        node->properties[{nameSpace, name}] = innerXml;
}

QString TestServer::property(const QString &path, const QString &nameSpace,
                             const QString &name) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node ? node->properties.value({nameSpace, name}) : QString();
}

// --- Locks ---

QByteArray TestServer::lockAs(const QString &path, const QString &owner, bool shared) {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    if (!node)
        return {};
    const QByteArray token = "opaquelocktoken:test-" + node->etag.mid(1, 8) + '-' +
                             QByteArray::number(node->locks.size());
    node->locks.push_back({.token = token,
                           .ownerXml = owner,
                           .shared = shared,
                           .timeout = 3600,
                           .expires = QDateTime::currentDateTimeUtc().addSecs(3600)});
    return token;
}

QByteArray TestServer::lockToken(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node && !node->locks.empty() ? node->locks.back().token : QByteArray();
}

QString TestServer::lockOwner(const QString &path) const {
    const std::lock_guard guard(state->mutex);
    const NodePtr node = state->tree.placeOf(path).node;
    return node && !node->locks.empty() ? node->locks.back().ownerXml : QString();
}

void TestServer::dropLock(const QString &path) {
    const std::lock_guard guard(state->mutex);
    if (const NodePtr node = state->tree.placeOf(path).node)
        node->locks.clear();
}

// --- The server's ways ---

void TestServer::setDialect(const std::function<void(Dialect &)> &change) {
    const std::lock_guard guard(state->mutex);
    change(state->dialect);
}

void TestServer::makeVelmora(const QByteArray &version) {
    {
        const std::lock_guard guard(state->mutex);
        state->velmora = true;
        state->dialect.literalRange = Dialect::LiteralRange::accept;
        state->dialect.partialPut = Dialect::PartialPut::apply;
        state->dialect.pathDestination = true;
        state->dialect.strictIf = false;
        state->dialect.displayNames = true;
    }
    setOptionsHeader("X-KQ-Velmora-Version", version);
}

void TestServer::setOptionsHeader(const QByteArray &name, const QByteArray &value) {
    const std::lock_guard guard(state->mutex);
    std::erase_if(state->optionsHeaders, [&](const HeaderLine &line) { return line.name == name; });
    state->optionsHeaders.push_back({name, value});
}

void TestServer::setAnswerHeader(const QByteArray &method, const QString &path,
                                 const QByteArray &name, const QByteArray &value) {
    const std::lock_guard guard(state->mutex);
    std::erase_if(state->answerHeaders, [&](const ServerState::AnswerHeader &header) {
        return header.method == method && header.path == path && header.line.name == name;
    });
    if (!value.isNull())
        state->answerHeaders.push_back({method, path, {name, value}});
}

void TestServer::setWritableAnswer(const QString &path, const QByteArray &value) {
    const std::lock_guard guard(state->mutex);
    state->writableAnswers[plainPath(path)] = value;
}

void TestServer::setQuotaAnswer(const QByteArray &value) {
    const std::lock_guard guard(state->mutex);
    state->quotaAnswer = value;
}

void TestServer::refuseUploadsAbove(qint64 bytes) {
    const std::lock_guard guard(state->mutex);
    state->uploadLimit = bytes;
}

void TestServer::refuseExtension(const QByteArray &extension) {
    const std::lock_guard guard(state->mutex);
    state->refusedExtensions.append(extension);
}

void TestServer::setPublicAddress(const QByteArray &address) {
    const std::lock_guard guard(state->mutex);
    state->publicAddress = address;
}

void TestServer::setPostAnswer(const QString &path, int status, const QByteArray &body,
                               const QByteArray &contentType) {
    const std::lock_guard guard(state->mutex);
    state->postAnswers[plainPath(path)] = {status, body, contentType};
}

void TestServer::requireLogin(Scheme scheme, const QString &user, const QString &password,
                              const QString &realm) {
    const std::lock_guard guard(state->mutex);
    state->login.require(scheme, user, password, realm);
}

void TestServer::expireNonce() {
    const std::lock_guard guard(state->mutex);
    state->login.expireNonce();
}

void TestServer::demandClientCertificate(const QByteArray &pem) {
    const std::lock_guard guard(state->mutex);
    state->demandedCertificate = pem;
}

void TestServer::askForClientCertificate() {
    const std::lock_guard guard(state->mutex);
    state->askForClientCertificate = true;
}

void TestServer::routeProxyTo(quint16 port) {
    const std::lock_guard guard(state->mutex);
    state->proxyTarget = port;
}

// --- Faults ---

void TestServer::fault(const Fault &fault) {
    const std::lock_guard guard(state->mutex);
    state->faults.add(fault);
}

void TestServer::clearFaults() {
    const std::lock_guard guard(state->mutex);
    state->faults.clear();
}

void TestServer::releaseStalled() {
    thread->run([](Listener &listener) {
        listener.forEachPeer([](HttpPeer &peer) { peer.releaseStalled(); });
    });
}

void TestServer::dropConnections(bool reset) {
    thread->run([reset](Listener &listener) {
        listener.forEachPeer([reset](HttpPeer &peer) { peer.drop(reset); });
    });
}

void TestServer::goAway() {
    thread->run([](Listener &listener) {
        listener.close();
        listener.forEachPeer([](HttpPeer &peer) { peer.drop(false); });
    });
}

void TestServer::comeBack() {
    thread->run([](Listener &listener) {
        if (!listener.start())
            qFatal("the test server did not get its port back");
    });
}

// --- What was asked ---

QList<RecordedRequest> TestServer::requests() const {
    return requests(QByteArray());
}

QList<RecordedRequest> TestServer::requests(const QByteArray &method, const QString &path) const {
    const std::lock_guard guard(state->mutex);
    QList<RecordedRequest> found;
    for (const RecordedRequest &request : state->requests) {
        if (matches(request, method, path))
            found.append(request);
    }
    return found;
}

RecordedRequest TestServer::lastRequest(const QByteArray &method) const {
    const QList<RecordedRequest> found = requests(method);
    return found.isEmpty() ? RecordedRequest() : found.last();
}

int TestServer::countOf(const QByteArray &method, const QString &path) const {
    return int(requests(method, path).size());
}

void TestServer::clearRequests() {
    const std::lock_guard guard(state->mutex);
    state->requests.clear();
}

int TestServer::connectionCount() const {
    const std::lock_guard guard(state->mutex);
    return state->connectionCount;
}

int TestServer::openConnections() const {
    const std::lock_guard guard(state->mutex);
    return state->openConnections;
}

bool TestServer::waitForRequests(const QByteArray &method, const QString &path, int count,
                                 std::chrono::milliseconds limit) const {
    std::unique_lock lock(state->mutex);
    return state->recorded.wait_for(lock, limit, [&] {
        return std::count_if(state->requests.begin(), state->requests.end(),
                             [&](const RecordedRequest &request) {
                                 return matches(request, method, path);
                             }) >= count;
    });
}
