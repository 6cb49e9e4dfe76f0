#include "ProxyRelay.h"

#include <QUrl>

ProxyRelay::ProxyRelay(QTcpSocket *client, const RecordedRequest &request, quint16 port,
                       QObject *parent)
    : QObject(parent), client(client), server(new QTcpSocket(this)), request(request) {
    const bool tunnel = request.method == "CONNECT";
    const QUrl url(QString::fromLatin1(tunnel ? "https://" + request.target : request.target));
    connect(server, &QTcpSocket::connected, this, &ProxyRelay::connected);
    connect(server, &QTcpSocket::readyRead, this, [this] {
        answered = true;
        this->client->write(server->readAll());
    });
    connect(server, &QTcpSocket::disconnected, this, [this] {
        this->client->write(server->readAll());
        this->client->disconnectFromHost();
    });
    connect(server, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError) {
        if (!answered)
            this->client->write("HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n");
        this->client->disconnectFromHost();
    });
    connect(client, &QTcpSocket::disconnected, server, [this] { server->disconnectFromHost(); });
    if (port != 0)
        server->connectToHost(QStringLiteral("127.0.0.1"), port);
    else
        server->connectToHost(url.host(), quint16(url.port(tunnel ? 443 : 80)));
}

void ProxyRelay::connected() {
    connect(client, &QTcpSocket::readyRead, this,
            [this] { server->write(this->client->readAll()); });
    if (request.method == "CONNECT") {
        answered = true;
        client->write("HTTP/1.1 200 Connection established\r\n\r\n");
        return;
    }
    const QByteArray target = request.target;
    const auto slash = target.indexOf('/', target.indexOf("://") + 3);
    QByteArray head =
        request.method + ' ' + (slash < 0 ? QByteArray("/") : target.mid(slash)) + " HTTP/1.1\r\n";
    for (const HeaderLine &line : request.headers) {
        const QByteArray name = line.name.toLower();
        if (name.startsWith("proxy-") || name == "connection" || name == "transfer-encoding" ||
            name == "expect")
            continue;
        head += line.name + ": " + line.value + "\r\n";
    }
    if (request.has("Transfer-Encoding"))
        head += "Content-Length: " + QByteArray::number(request.body.size()) + "\r\n";
    server->write(head + "Connection: close\r\n\r\n" + request.body);
}
