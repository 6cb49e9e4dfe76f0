#include "platform/net/HttpSession.h"

#include <utility>

void HttpSession::learn(bool isProxy, HttpChallenge challenge) {
    const std::lock_guard guard(mutex);
    Known &known = isProxy ? proxy : server;
    if (known.challenge.nonce != challenge.nonce)
        known.uses = 0;
    known.challenge = std::move(challenge);
}

QByteArray HttpSession::authorization(bool isProxy, const HttpCredentials &credentials,
                                      const QByteArray &method, const QByteArray &target) {
    if (credentials.scheme == QLatin1String("Basic"))
        return "Basic " +
               (credentials.username + QLatin1Char(':') + credentials.password).toUtf8().toBase64();
    const std::lock_guard guard(mutex);
    Known &known = isProxy ? proxy : server;
    if (known.challenge.nonce.isNull())
        return {};
    return known.challenge.answer(credentials, method, target, ++known.uses);
}
