#pragma once

#include <QByteArray>
#include <QString>

class QUrl;

// A proxy auto-configuration script. Any thread; each call blocks for a few seconds at most.
namespace ProxyScript {

// The script at an http, https or file URL, fetched without a proxy; null on any failure.
QByteArray fetch(const QUrl &url);

// The answer of its FindProxyForURL, like "PROXY a:1; DIRECT"; null on any failure. The script
// learns nothing of the URL beyond what choosing a proxy needs: no login, and no path for https.
QString evaluate(const QByteArray &script, const QUrl &url);

// Evaluates, and ends the process, where evaluate() has started this program for it. What main()
// does first in every program that calls evaluate().
void endIfChild(int argc, char **argv);

}  // namespace ProxyScript
