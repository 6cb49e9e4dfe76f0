#pragma once

#include <QString>

// The passwords that the person's keyring holds for proxies.
namespace ProxyPasswords {

// The password of a network item of those attributes; null where there is none, no keyring, or one
// that is locked or doesn't answer within some seconds. The person is never asked. Any thread.
QString find(const QString &server, int port, const QString &protocol, const QString &user);

}  // namespace ProxyPasswords
