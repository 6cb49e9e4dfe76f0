#pragma once

#include <QObject>
#include <QTcpSocket>

#include "RecordedRequest.h"

// Carries one proxied connection: a CONNECT tunnel, or a forwarded request after whose answer the
// client is hung up on.
class ProxyRelay : public QObject {
  public:
    // Connects to 127.0.0.1 at the port, or with port 0 to the host the request names.
    ProxyRelay(QTcpSocket *client, const RecordedRequest &request, quint16 port, QObject *parent);

  private:
    void connected();

    QTcpSocket *client;
    QTcpSocket *server;
    const RecordedRequest request;
    bool answered = false;
};
