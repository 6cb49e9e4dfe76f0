#pragma once

#include <mutex>

#include "platform/net/HttpChallenge.h"

// What the requests of a session with one server know of earlier ones, whatever thread they ran on:
// the last Digest challenges of server and proxy, with the count of their uses, so that a login
// costs no question each time.
class HttpSession {
  public:
    void learn(bool isProxy, HttpChallenge challenge);
    // The value of Authorization or Proxy-Authorization. Null for a Digest login before a
    // challenge; the server will then send one.
    QByteArray authorization(bool isProxy, const HttpCredentials &credentials,
                             const QByteArray &method, const QByteArray &target);

  private:
    struct Known {
        HttpChallenge challenge;
        quint32 uses = 0;
    };

    std::mutex mutex;  // guards the following
    Known server;
    Known proxy;
};
