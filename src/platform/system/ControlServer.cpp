#include "platform/system/ControlServer.h"

#include <QLocalServer>
#include <QLocalSocket>

#include "platform/system/ControlChannel.h"

ControlServer::ControlServer(std::function<void(std::shared_ptr<ControlChannel>)> newChannel)
    : server(std::make_unique<QLocalServer>()) {
    QLocalServer *const listener = server.get();
    listener->setSocketOptions(QLocalServer::UserAccessOption);
    const auto accept = [listener, newChannel = std::move(newChannel)] {
        while (QLocalSocket *const socket = listener->nextPendingConnection()) {
            socket->setParent(nullptr);
            if (auto channel = ControlChannel::over(std::unique_ptr<QLocalSocket>(socket)))
                newChannel(std::move(channel));
        }
    };
    QObject::connect(listener, &QLocalServer::newConnection, listener, accept);
}

ControlServer::~ControlServer() = default;

bool ControlServer::listen(const QString &socketPath) {
    QLocalServer::removeServer(socketPath);
    return server->listen(socketPath);
}
