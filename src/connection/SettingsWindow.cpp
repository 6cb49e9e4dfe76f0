// The form of the settings window: records into it and out of it, and what may be entered when.

#include "connection/SettingsWindow.h"

#include "common/Text.h"
#include "connection/ClientIdentitySource.h"
#include "connection/ConnectionRules.h"
#include "connection/ConnectionUrl.h"
#include "connection/VDConnectionInfo.h"

namespace {

QString orNull(const QString &text) {
    return text.isEmpty() ? QString() : text;
}

QString portText(std::optional<int> port) {
    return port ? QString::number(*port) : QString();
}

// Nothing for an empty field, 0 for what is no number.
std::optional<int> portOf(const QString &text) {
    return text.isEmpty() ? std::nullopt : std::optional(text.toInt());
}

}  // namespace

SettingsWindow::SettingsWindow(const Application &application) : application(application) {
    connectActions();
    selectDivideSize.setItems({localizedText("Settings_Undivided")});
    showBusy({});
    windowReset();
}

void SettingsWindow::connectActions() {
    const auto run = [this](Control &control, void (SettingsWindow::*operation)()) {
        control.action = [this, operation] { (this->*operation)(); };
    };
    run(window, &SettingsWindow::closeWindow);
    run(btnAdd, &SettingsWindow::addNewInfo);
    run(btnDelete, &SettingsWindow::deleteInfo);
    run(btnConnectTest, &SettingsWindow::putConnectTest);
    run(btnSubmit, &SettingsWindow::submit);
    run(btnCancel, &SettingsWindow::cancel);
    run(btnSelectCert, &SettingsWindow::putSelectCert);
    run(saveID, &SettingsWindow::switchSaveUserID);
    run(savePassword, &SettingsWindow::switchSavePass);
    run(isUseCert, &SettingsWindow::switchUseCert);
    run(isUseProxy, &SettingsWindow::switchUseProxy);
    run(isProxyAuthentication, &SettingsWindow::switchProxyAuth);
    run(selectConfProxy, &SettingsWindow::switchProxyConf);
    run(chengeMountPoint, &SettingsWindow::switchChengeMountPoint);
    for (TextField *field :
         {&txtConnectionName, &txtRemoteURL, &txtUsername, &txtPassword, &txtMountPoint,
          &txtProxyHost, &txtProxyPort, &txtProxyUsername, &txtProxyPassword})
        run(*field, &SettingsWindow::textShouldEndEditing);
    btnStop.action = [this] { this->application.cancelLogins(); };
    TableConnectList.shouldSelectRow = [this](int row) { return shouldSelectRow(row); };
}

void SettingsWindow::setWindowParams(const VDConnectionInfo &record) {
    const QString name =
        record.connectionName.isNull() ? QStringLiteral("default") : record.connectionName;
    txtConnectionName.setText(name);
    currentConnectName = name;
    shownURL = record.RemoteURL;
    txtRemoteURL.setText(record.RemoteURL);
    txtUsername.setText(record.username);
    txtPassword.setText(record.password);
    txtMountPoint.setText(record.mountPoint.isEmpty() ? defaultMountPoint() : record.mountPoint);

    saveID.setState(record.saveID);
    savePassword.setState(record.savePassword);
    chengeMountPoint.setState(record.chengeMountPoint);
    isUseProxy.setState(record.isUseProxy.toBool());
    selectConfProxy.setIndex(record.isProxyAuto.value_or(true) ? kAutomatic : kManual);
    txtProxyHost.setText(record.proxyHost);
    txtProxyPort.setText(portText(record.proxyPort));
    isProxyAuthentication.setState(record.isUseProxyAuth.value_or(false));
    txtProxyUsername.setText(record.proxyUsername);
    txtProxyPassword.setText(record.proxyPassword);
    selectDivideSize.setIndex(record.devideSizeIndex.value_or(0));
    isUseCert.setState(record.isUseCert.value_or(false));
    certArr = record.certArr;
    showCertificateTitle();
    isAllowSelfsign.setState(record.isAllowSelfsign.value_or(false));
    isAutoMount.setState(record.isAutoMount.value_or(false));

    switchSaveUserID();
    switchSavePass();
    switchUseProxy();
    switchUseCert();
    switchChengeMountPoint();
    viewOptionTab.setHidden(record.isMount);
    shownForm = getWindowParams();
}

SettingsWindow::RecordPtr SettingsWindow::getWindowParams() const {
    auto record = std::make_shared<VDConnectionInfo>();
    record->connectionName = typedName();
    record->RemoteURL = typedURL();
    record->saveID = saveID.state();
    record->username = record->saveID ? txtUsername.text() : QString();
    record->savePassword = savePassword.state();
    record->password = record->savePassword ? txtPassword.text() : QString();
    record->chengeMountPoint = chengeMountPoint.state();
    record->mountPoint = record->chengeMountPoint
                             ? txtMountPoint.text()
                             : QStringLiteral("/Volumes/") + record->connectionName;
    while (record->mountPoint.endsWith(QLatin1Char('/')))
        record->mountPoint.chop(1);

    record->isUseProxy = isUseProxy.state();
    if (isUseProxy.state()) {
        record->isProxyAuto = selectConfProxy.index() != kManual;
        if (!*record->isProxyAuto) {
            record->proxyHost = orNull(txtProxyHost.text().trimmed());
            record->proxyPort = portOf(txtProxyPort.text().trimmed());
        }
        record->isUseProxyAuth = isProxyAuthentication.state();
        if (*record->isUseProxyAuth) {
            record->proxyUsername = orNull(txtProxyUsername.text());
            record->proxyPassword = orNull(txtProxyPassword.text());
        }
    }

    record->devideSizeIndex = selectDivideSize.index();
    record->isUseCert = isUseCert.state();
    if (isUseCert.state())
        record->certArr = certArr;
    record->isAllowSelfsign = isAllowSelfsign.state();
    record->isAutoMount = isAutoMount.state();
    return record;
}

// Blanks around a typed name would be part of a folder's name that nobody can see.
QString SettingsWindow::typedName() const {
    const QString &text = txtConnectionName.text();
    return text == currentConnectName ? text : text.trimmed();
}

// What a record shows is readable text already; only what a person typed is decoded.
QString SettingsWindow::typedURL() const {
    const QString &text = txtRemoteURL.text();
    return text == shownURL ? text : ConnectionUrl::readableUrl(text);
}

void SettingsWindow::windowReset() {
    viewOptionTab.selectTab(0);
    for (TextField *field :
         {&txtConnectionName, &txtRemoteURL, &txtUsername, &txtPassword, &txtMountPoint,
          &txtProxyHost, &txtProxyPort, &txtProxyUsername, &txtProxyPassword})
        field->setText({});
    for (CheckBox *box : {&saveID, &savePassword, &chengeMountPoint, &isUseProxy,
                          &isProxyAuthentication, &isUseCert, &isAllowSelfsign})
        box->setState(false);
    selectConfProxy.setIndex(kManual);
    selectDivideSize.setIndex(0);
    btnSelectCert.setTitle(localizedText("AppDelegate_59"));

    const bool isEmpty = application.connectNames.numberOfRowsInTableView() == 0;
    if (isEmpty) {
        TableConnectList.deselect();
        viewOptionTab.setHidden(true);
        return reloadTable();
    }
    showRow(0);
    TableConnectList.selectRow(0);
}

void SettingsWindow::reloadTable() {
    QList<QStringList> rows;
    const QStringList names = application.connectNames.connectNames();
    for (const QString &name : names)
        rows.append({name});
    TableConnectList.setRows(rows);
}

// The table as it is now, and the form for one of its rows.
void SettingsWindow::showRow(int row) {
    reloadTable();
    const QString name = application.connectNames.tableView({}, row);
    VDConnectionInfo unsaved;
    unsaved.connectionName = QStringLiteral("");
    const RecordPtr record = application.conInfoList.value(name);
    setWindowParams(record ? *record : unsaved);
}

void SettingsWindow::mountStateChanged() {
    if (application.conInfoList.contains(currentConnectName))
        viewOptionTab.setHidden(isMounted(currentConnectName));
}

void SettingsWindow::showBusy(const QString &shownName) {
    isBusy = !shownName.isNull();
    txtBusy.setText(isBusy ? localizedText("Settings_Busy", shownName) : QString());
    txtBusy.setHidden(!isBusy);
    btnStop.setHidden(!isBusy);
    enableControls();
}

// Nothing else begins while a login is under way, and a test writes into the form at its end.
void SettingsWindow::enableControls() {
    for (Control *control : std::initializer_list<Control *>{&TableConnectList, &btnAdd, &btnDelete,
                                                             &btnConnectTest, &btnSubmit})
        control->setEnabled(!isBusy);
    btnCancel.setEnabled(!isTesting);
    viewOptionTab.setEnabled(!isTesting);
}

bool SettingsWindow::isMounted(const QString &name) const {
    const RecordPtr record = application.conInfoList.value(name);
    return record && record->isMount;
}

QString SettingsWindow::defaultMountPoint() const {
    return QStringLiteral("/Volumes/") + txtConnectionName.text();
}

void SettingsWindow::showCertificateTitle() {
    btnSelectCert.setTitle(localizedText(certArr.isEmpty() ? "AppDelegate_59" : "AppDelegate_60"));
}

void SettingsWindow::putSelectCert() {
    certArr = application.identities.getClientIdentity();
    showCertificateTitle();
}

void SettingsWindow::switchSaveUserID() {
    txtUsername.setEnabled(saveID.state());
}

void SettingsWindow::switchSavePass() {
    txtPassword.setEnabled(savePassword.state());
}

void SettingsWindow::switchUseCert() {
    btnSelectCert.setEnabled(isUseCert.state());
}

void SettingsWindow::switchUseProxy() {
    selectConfProxy.setEnabled(isUseProxy.state());
    isProxyAuthentication.setEnabled(isUseProxy.state());
    switchProxyConf();
    switchProxyAuth();
}

void SettingsWindow::switchProxyAuth() {
    const bool isOn = isUseProxy.state() && isProxyAuthentication.state();
    txtProxyUsername.setEnabled(isOn);
    txtProxyPassword.setEnabled(isOn);
}

void SettingsWindow::switchProxyConf() {
    const bool isOn = isUseProxy.state() && selectConfProxy.index() == kManual;
    txtProxyHost.setEnabled(isOn);
    txtProxyPort.setEnabled(isOn);
}

void SettingsWindow::switchChengeMountPoint() {
    txtMountPoint.setEnabled(chengeMountPoint.state());
    textShouldEndEditing();
}

void SettingsWindow::textShouldEndEditing() {
    if (!chengeMountPoint.state())
        txtMountPoint.setText(defaultMountPoint());
}
