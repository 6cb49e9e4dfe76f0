#include "platform/system/ControlChannel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QJsonDocument>
#include <QLocalSocket>

namespace {

constexpr int kConnectLimit = 2000;            // milliseconds
constexpr qsizetype kLineLimit = 1024 * 1024;  // bytes; a longer line is no message of ours

bool isOfThisUser(const QLocalSocket &socket) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    const int fd = static_cast<int>(socket.socketDescriptor());
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

}  // namespace

ControlChannel::ControlChannel(std::unique_ptr<QLocalSocket> connected)
    : socket(std::move(connected)) {}

ControlChannel::~ControlChannel() {
    socket->disconnect();
}

std::shared_ptr<ControlChannel> ControlChannel::over(std::unique_ptr<QLocalSocket> connected) {
    if (!isOfThisUser(*connected))
        return nullptr;
    const std::shared_ptr<ControlChannel> channel(new ControlChannel(std::move(connected)));
    const auto read = [weak = channel->weak_from_this()] {
        if (const auto self = weak.lock())
            self->readLines();
    };
    const auto end = [weak = channel->weak_from_this()] {
        if (const auto self = weak.lock())
            self->end();
    };
    // Queued, since a socket tells of no more data from within a handler that serves events.
    QLocalSocket *const socket = channel->socket.get();
    QObject::connect(socket, &QLocalSocket::readyRead, socket, read, Qt::QueuedConnection);
    QObject::connect(socket, &QLocalSocket::disconnected, socket, end, Qt::QueuedConnection);
    // What came before anybody listened.
    QMetaObject::invokeMethod(socket, read, Qt::QueuedConnection);
    if (socket->state() != QLocalSocket::ConnectedState)
        QMetaObject::invokeMethod(socket, end, Qt::QueuedConnection);
    return channel;
}

std::shared_ptr<ControlChannel> ControlChannel::connectTo(const QString &socketPath) {
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(socketPath);
    if (!socket->waitForConnected(kConnectLimit))
        return nullptr;
    return over(std::move(socket));
}

void ControlChannel::send(const QJsonObject &message) {
    if (!open)
        return;
    socket->write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    socket->flush();
}

void ControlChannel::close() {
    if (open)
        socket->disconnectFromServer();
}

void ControlChannel::readLines() {
    const auto self = shared_from_this();
    incoming += socket->readAll();
    qsizetype lineEnd;
    while ((lineEnd = incoming.indexOf('\n')) >= 0) {
        const QJsonDocument document = QJsonDocument::fromJson(incoming.left(lineEnd));
        incoming.remove(0, lineEnd + 1);
        if (document.isObject() && onMessage)
            onMessage(document.object());
    }
    if (incoming.size() > kLineLimit) {
        incoming.clear();
        socket->abort();
    }
}

void ControlChannel::end() {
    const auto self = shared_from_this();
    readLines();
    if (!std::exchange(open, false))
        return;
    if (onClosed)
        onClosed();
}
