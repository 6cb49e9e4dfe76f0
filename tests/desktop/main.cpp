#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

// As the other test programs' main, with windows that nobody sees.
int main(int argc, char **argv) {
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CURRENT_DESKTOP",
                             "DBUS_SESSION_BUS_ADDRESS", "http_proxy", "https_proxy"})
        qunsetenv(name);
    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
