#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include "platform/net/ProxyScript.h"

// Every test program runs with a HOME of its own, so that nothing of the user's is read or written.
int main(int argc, char **argv) {
    ProxyScript::endIfChild(argc, argv);
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    for (const char *name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "http_proxy",
          "DBUS_SESSION_BUS_ADDRESS", "https_proxy", "all_proxy", "no_proxy"})
        qunsetenv(name);
    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
