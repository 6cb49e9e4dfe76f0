#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include "RecordedRequest.h"
#include "TestServer.h"

// What a server asks of its users. Not locked: its owner sees to that.
class Login {
  public:
    void require(TestServer::Scheme scheme, const QString &user, const QString &password,
                 const QString &realm);
    void expireNonce();
    // Whether the request may pass, by the header field of that name ("Authorization").
    bool accepts(const RecordedRequest &request, const char *field);
    // The value of the challenge to answer a refused request with.
    QByteArray challenge();

  private:
    bool acceptsDigest(const RecordedRequest &request, const QByteArray &credentials);

    TestServer::Scheme scheme = TestServer::NoLogin;
    QByteArray user;
    QByteArray password;
    QByteArray realm;
    QByteArray nonce;
    QByteArray previousNonce;
    bool stale = false;
};
