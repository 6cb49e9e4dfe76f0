#include <csignal>
#include <sys/resource.h>

#include <QDir>
#include <QTimer>

#include "DesktopFixture.h"
#include "support/TestServer.h"

namespace {

class SettingsWindowTest : public DesktopFixture {
  protected:
    SettingsWindow &open() {
        application->finishLaunching();
        application->WakeupWindow();
        return *application->settings;
    }
    static void type(TextField &field, const QString &text) {
        field.userEdit(text);
        field.userEndEditing();
    }
    // Presses Stop once the server was asked.
    void stopWhenAsked(SettingsWindow &window, QTimer &timer) {
        QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
            if (server.requests().isEmpty())
                return;
            timer.stop();
            EXPECT_FALSE(window.txtBusy.isHidden());
            EXPECT_FALSE(window.btnSubmit.isEnabled());
            EXPECT_FALSE(window.viewOptionTab.isEnabled());
            window.btnStop.userPress();
        });
        timer.start(10);
    }

    TestServer server;
};

}  // namespace

TEST_F(SettingsWindowTest, ARowIsSavedWhenItIsLeft) {
    SettingsWindow &window = open();
    EXPECT_TRUE(window.viewOptionTab.isHidden());
    window.btnAdd.userPress();
    EXPECT_FALSE(window.viewOptionTab.isHidden());
    type(window.txtConnectionName, " Büro ");
    EXPECT_EQ(window.txtMountPoint.text(), "/Volumes/ Büro ");
    type(window.txtRemoteURL, server.url("/") + "a%20b/");
    server.addFolder("/a b");
    window.saveID.userSet(true);
    type(window.txtUsername, "anna");
    window.btnAdd.userPress();
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(window.TableConnectList.rows(), (QList<QStringList>{{"Büro"}, {"new connection"}}));
    EXPECT_EQ(window.TableConnectList.selectedRow(), 1);
    EXPECT_EQ(storedNames(), QStringList("Büro"));
    const auto stored = VDConnectionInfo::loadConnectInfo("Büro");
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->RemoteURL, server.url("/") + "a b/");
    EXPECT_EQ(stored->username, "anna");
    EXPECT_FALSE(stored->chengeMountPoint);

    window.btnCancel.userPress();
    EXPECT_EQ(window.TableConnectList.rows().size(), 1) << "the unsaved row goes";
    EXPECT_FALSE(window.window.isVisible());

    application->WakeupWindow();
    window.isAutoMount.userSet(true);
    type(window.txtConnectionName, "Office");
    window.btnSubmit.userPress();
    EXPECT_FALSE(window.window.isVisible());
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(application->conInfoList.keys(), QStringList("Office"));
    EXPECT_EQ(storedNames(), QStringList("Office"));
    EXPECT_FALSE(VDConnectionInfo::loadConnectInfo("Büro"));

    application->WakeupWindow();
    server.clearRequests();
    window.btnSubmit.userPress();
    EXPECT_TRUE(server.requests().isEmpty()) << "nothing to save";
}

TEST_F(SettingsWindowTest, WhatCannotBeUsedIsToldOnceAndStaysInTheForm) {
    store("A", server.url());
    store("B", server.url("/b"));
    store("C", server.url(), "/tmp/c");
    SettingsWindow &window = open();
    const QString tooLong(300, QChar(0x00e4));
    const auto field = [&](const char *key, const char *label) {
        return localizedText(key, localizedText(label));
    };
    const auto proxy = [&](const QString &host, const QString &port) {
        window.isUseProxy.userSet(true);
        window.selectConfProxy.userSelect(SettingsWindow::kManual);
        type(window.txtProxyHost, host);
        type(window.txtProxyPort, port);
    };
    const auto mountAt = [&](const QString &path) {
        window.chengeMountPoint.userSet(true);
        type(window.txtMountPoint, path);
    };
    const struct {
        std::function<void()> enter;
        QString message;
    } cases[] = {
        {[&] { type(window.txtConnectionName, ""); }, localizedText("AppDelegate_56")},
        {[&] { type(window.txtConnectionName, "  "); }, localizedText("AppDelegate_56")},
        {[&] { type(window.txtConnectionName, "new connection"); },
         localizedText("AppDelegate_56")},
        {[&] { type(window.txtConnectionName, "a/b"); }, localizedText("AppDelegate_57")},
        {[&] { type(window.txtConnectionName, "a\nb"); }, localizedText("AppDelegate_57")},
        {[&] { type(window.txtConnectionName, tooLong); }, localizedText("Cli_NameTooLong")},
        {[&] { type(window.txtConnectionName, "B"); }, localizedText("AppDelegate_54")},
        {[&] { type(window.txtRemoteURL, ""); }, localizedText("Cli_Url_Scheme")},
        {[&] { type(window.txtRemoteURL, "ftp://h/"); }, localizedText("Cli_Url_Scheme")},
        {[&] { type(window.txtRemoteURL, "http://me:pw@h/"); }, localizedText("Settings_UrlLogin")},
        {[&] { type(window.txtRemoteURL, "http://h:70000/"); }, localizedText("Cli_Url_Port")},
        {[&] { type(window.txtRemoteURL, "http://h/a\nhttp://h/b"); },
         field("Settings_ControlCharacter", "Cli_Field_Url")},
        {[&] { type(window.txtRemoteURL, "http://h/" + tooLong.repeated(20)); },
         field("Settings_TooLong", "Cli_Field_Url")},
        {[&] {
             window.savePassword.userSet(true);
             type(window.txtPassword, "secret\n");
         },
         field("Settings_ControlCharacter", "Settings_Password")},
        {[&] { mountAt("/tmp/c/"); }, localizedText("AppDelegate_55")},
        {[&] { mountAt("/tmp"); }, localizedText("AppDelegate_55")},
        {[&] { mountAt("/tmp/c/below"); }, localizedText("AppDelegate_55")},
        {[&] { mountAt(""); }, localizedText("AppDelegate_2")},
        {[&] { mountAt("tmp/x"); }, localizedText("AppDelegate_1")},
        {[&] { proxy("", "80"); }, localizedText("Settings_ProxyHost")},
        {[&] { proxy("http://h", "80"); }, localizedText("Settings_ProxyHost")},
        {[&] { proxy("h", ""); }, localizedText("Settings_ProxyPort")},
        {[&] { proxy("h", "0"); }, localizedText("Settings_ProxyPort")},
        {[&] { proxy("h", "65536"); }, localizedText("Settings_ProxyPort")},
        {[&] { proxy("h", "８０a"); }, localizedText("Settings_ProxyPort")},
    };
    for (const auto &[enter, message] : cases) {
        window.windowReset();
        enter();
        const auto before = window.getWindowParams();
        server.clearRequests();
        window.TableConnectList.userSelect(1);
        EXPECT_EQ(told(), QStringList(message));
        window.TableConnectList.userSelect(1);
        EXPECT_EQ(told(), QStringList()) << qPrintable(message);
        EXPECT_EQ(window.TableConnectList.selectedRow(), 0);
        EXPECT_TRUE(window.getWindowParams()->equals(*before)) << qPrintable(message);
        EXPECT_TRUE(server.requests().isEmpty());
        window.btnSubmit.userPress();
        EXPECT_EQ(told(), QStringList(message)) << "the button asks anew";
        EXPECT_TRUE(window.window.isVisible());
    }
    EXPECT_EQ(storedNames(), QStringList({"A", "B", "C"}));
    EXPECT_EQ(VDConnectionInfo::loadConnectInfo("A")->RemoteURL, server.url());
}

TEST_F(SettingsWindowTest, TheServerIsAskedUnlessTheOptionKeyIsHeld) {
    store("A", server.url());
    store("B", server.url());
    SettingsWindow &window = open();
    server.fault({.method = "OPTIONS", .times = Fault::kAlways, .status = 403});
    window.isAllowSelfsign.userSet(true);
    window.TableConnectList.userSelect(1);
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_9")));
    EXPECT_EQ(window.TableConnectList.selectedRow(), 0);

    window.window.isOptionHeld = [] { return true; };
    window.btnSubmit.userPress();
    EXPECT_EQ(told(), QStringList());
    EXPECT_TRUE(VDConnectionInfo::loadConnectInfo("A")->isAllowSelfsign.value_or(false));
}

TEST_F(SettingsWindowTest, WhatTheLoginAskedForIsKept) {
    server.requireLogin(TestServer::Basic, "anna", "secret");
    store("A", server.url());
    SettingsWindow &window = open();
    interface.loginAnswers = {{"anna", "wrong"}, {"anna", "secret"}};
    window.saveID.userSet(true);
    window.savePassword.userSet(true);
    window.btnConnectTest.userPress();
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_53")));
    EXPECT_EQ(window.txtUsername.text(), "anna");
    EXPECT_EQ(window.txtPassword.text(), "secret");
    EXPECT_TRUE(VDConnectionInfo::loadConnectInfo("A")->username.isNull()) << "nothing is saved";

    window.windowReset();
    interface.loginAnswers = {{"anna", "secret"}};
    window.saveID.userSet(true);
    window.savePassword.userSet(true);
    window.btnSubmit.userPress();
    const auto stored = VDConnectionInfo::loadConnectInfo("A");
    EXPECT_EQ(stored->username, "anna");
    EXPECT_EQ(stored->password, "secret");
}

TEST_F(SettingsWindowTest, ATestOfASilentServerCanBeStopped) {
    store("A", server.url());
    SettingsWindow &window = open();
    server.fault({.times = Fault::kAlways, .stall = true});
    for (const bool isSave : {false, true}) {
        server.clearRequests();
        QTimer timer;
        stopWhenAsked(window, timer);
        window.isAllowSelfsign.userSet(isSave);
        (isSave ? window.btnSubmit : window.btnConnectTest).userPress();
        EXPECT_EQ(told(), QStringList());
        EXPECT_TRUE(window.window.isVisible());
        EXPECT_TRUE(window.txtBusy.isHidden());
        EXPECT_TRUE(window.btnSubmit.isEnabled());
        EXPECT_EQ(window.isAllowSelfsign.state(), isSave);
    }
    server.clearFaults();
    window.txtConnectionName.userEdit({});
    QStringList busy;
    window.txtBusy.onChanged = [&] { busy.append(window.txtBusy.text()); };
    window.btnConnectTest.userPress();
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_53")));
    EXPECT_EQ(busy.value(0), localizedText("Settings_Busy", QString("127.0.0.1"))) << "no name yet";
}

TEST_F(SettingsWindowTest, AMountedRowIsLeftAsItIs) {
    store("A", server.url());
    store("B", server.url());
    SettingsWindow &window = open();
    type(window.txtRemoteURL, "nonsense");
    record("A")->isMount = true;
    window.mountStateChanged();
    EXPECT_TRUE(window.viewOptionTab.isHidden());
    window.btnDelete.userPress();
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_61")));
    window.TableConnectList.userSelect(1);
    EXPECT_EQ(window.TableConnectList.selectedRow(), 1);
    EXPECT_FALSE(window.viewOptionTab.isHidden());
    EXPECT_EQ(record("A")->RemoteURL, server.url());
    record("A")->isMount = false;
    window.windowReset();
    EXPECT_FALSE(window.viewOptionTab.isHidden());
}

TEST_F(SettingsWindowTest, TheFrameDropsNothingWithoutAQuestion) {
    store("A", server.url());
    SettingsWindow &window = open();
    for (const int answer : {0, 1}) {
        interface.onAlert = [answer](const Alert &) { return answer; };
        type(window.txtUsername, "not saved anyway");
        window.window.userClose();
        EXPECT_FALSE(window.window.isVisible());
        EXPECT_EQ(told(), QStringList());
        application->WakeupWindow();
        type(window.txtConnectionName, "Typed");
        window.window.userClose();
        EXPECT_EQ(told(), QStringList(localizedText("Settings_Unsaved")));
        EXPECT_EQ(window.window.isVisible(), answer == 0);
        type(window.txtConnectionName, "A");
    }
}

TEST_F(SettingsWindowTest, TheFieldInSightIsTheMountPointThatIsChecked) {
    store("A", server.url());
    store("B", server.url(), "/tmp/b");
    SettingsWindow &window = open();
    window.chengeMountPoint.userSet(true);
    type(window.txtMountPoint, "/tmp/no/parent");
    EXPECT_FALSE(application->connectVelmora("B"));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_4")));
    window.window.hide();
    server.fault({.method = "OPTIONS", .times = Fault::kAlways, .status = 403});
    EXPECT_FALSE(application->connectVelmora("B"));
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_9")));
}

TEST_F(SettingsWindowTest, ADamagedFileIsToldOnce) {
    store("A", server.url());
    QFile file(QDir::homePath() + "/.config/velmoradisk/preferences.json");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("{") == 1);
    file.close();
    open();
    const QStringList messages = told();
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].contains("set aside")) << qPrintable(messages[0]);
    application->WakeupWindow();
    EXPECT_EQ(told(), QStringList());
}

TEST_F(SettingsWindowTest, ARowIsDeletedAfterAQuestion) {
    store("A", server.url());
    store("B", server.url());
    SettingsWindow &window = open();
    window.btnDelete.userPress();
    EXPECT_EQ(told(), QStringList(localizedText("AppDelegate_23")));
    EXPECT_EQ(storedNames().size(), 2);
    interface.onAlert = [](const Alert &) { return 1; };
    window.btnDelete.userPress();
    EXPECT_EQ(storedNames(), QStringList("B"));
    EXPECT_FALSE(VDConnectionInfo::loadConnectInfo("A"));
    EXPECT_EQ(window.txtConnectionName.text(), "B");
    EXPECT_EQ(window.TableConnectList.selectedRow(), 0);
    window.btnDelete.userPress();
    EXPECT_TRUE(window.viewOptionTab.isHidden());
    EXPECT_EQ(window.TableConnectList.selectedRow(), Table::kNoRow);
    EXPECT_TRUE(window.txtConnectionName.text().isEmpty());
}

TEST_F(SettingsWindowTest, OneControlEnablesAnother) {
    SettingsWindow &window = open();
    window.btnAdd.userPress();
    const struct {
        CheckBox *box;
        QList<Control *> enabled;
    } cases[] = {
        {&window.saveID, {&window.txtUsername}},
        {&window.savePassword, {&window.txtPassword}},
        {&window.chengeMountPoint, {&window.txtMountPoint}},
        {&window.isUseCert, {&window.btnSelectCert}},
        {&window.isUseProxy, {&window.selectConfProxy, &window.isProxyAuthentication}},
        {&window.isProxyAuthentication, {&window.txtProxyUsername, &window.txtProxyPassword}},
    };
    for (const auto &[box, controls] : cases) {
        for (const bool isOn : {true, false, true}) {
            box->userSet(isOn);
            for (const Control *control : controls)
                EXPECT_EQ(control->isEnabled(), isOn);
        }
    }
    EXPECT_FALSE(window.txtProxyHost.isEnabled());
    window.selectConfProxy.userSelect(SettingsWindow::kManual);
    EXPECT_TRUE(window.txtProxyHost.isEnabled());
    window.isUseProxy.userSet(false);
    for (const Control *field : {&window.txtProxyHost, &window.txtProxyPort,
                                 &window.txtProxyUsername, &window.txtProxyPassword})
        EXPECT_FALSE(field->isEnabled());
    type(window.txtMountPoint, "/tmp/own");
    window.chengeMountPoint.userSet(false);
    EXPECT_EQ(window.txtMountPoint.text(), "/Volumes/");
}

TEST_F(SettingsWindowTest, ARecordComesBackFromTheForm) {
    SettingsWindow &window = open();
    VDConnectionInfo full;
    full.connectionName = "A";
    full.RemoteURL = "http://h/100% #/";
    full.saveID = full.savePassword = full.chengeMountPoint = true;
    full.username = "anna";
    full.password = "secret";
    full.mountPoint = "/tmp/é";
    full.isUseProxy = true;
    full.isProxyAuto = false;
    full.proxyHost = "proxy";
    full.proxyPort = 8080;
    full.isUseProxyAuth = true;
    full.proxyUsername = "me";
    full.proxyPassword = "too";
    full.devideSizeIndex = 3;
    full.isUseCert = full.isAllowSelfsign = full.isAutoMount = true;
    full.certArr = {{"id", "cert.pem", "key.pem", "PEM", {}}};
    VDConnectionInfo plain;
    plain.connectionName = "B";
    plain.RemoteURL = "https://h/";
    plain.devideSizeIndex = 0;
    plain.isUseCert = false;
    for (const VDConnectionInfo &shown : {full, plain}) {
        window.setWindowParams(shown);
        const auto read = window.getWindowParams();
        EXPECT_TRUE(read->equals(shown)) << qPrintable(shown.connectionName);
        EXPECT_EQ(window.btnSelectCert.title(),
                  localizedText(shown.certArr.isEmpty() ? "AppDelegate_59" : "AppDelegate_60"));
    }
}

TEST_F(SettingsWindowTest, SettingsThatCannotBeSavedLoseNothing) {
    store("A", server.url());
    SettingsWindow &window = open();
    rlimit old;
    getrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit full{0, old.rlim_max};
    interface.onAlert = [](const Alert &) { return 1; };
    setrlimit(RLIMIT_FSIZE, &full);
    type(window.txtConnectionName, "Renamed");
    window.btnSubmit.userPress();
    const QStringList messages = told();
    window.btnDelete.userPress();
    setrlimit(RLIMIT_FSIZE, &old);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].contains("preferences.json")) << qPrintable(messages[0]);
    EXPECT_TRUE(window.window.isVisible());
    EXPECT_EQ(window.txtConnectionName.text(), "Renamed");
    EXPECT_EQ(application->conInfoList.keys(), QStringList("A"));
    EXPECT_EQ(storedNames(), QStringList("A"));
    told();

    store("By another", server.url(), "/tmp/other");
    window.btnSubmit.userPress();
    EXPECT_EQ(told(), QStringList());
    EXPECT_EQ(storedNames(), QStringList({"Renamed", "By another"}));
    application->WakeupWindow();
    EXPECT_EQ(window.TableConnectList.rows(), (QList<QStringList>{{"Renamed"}, {"By another"}}));
}
