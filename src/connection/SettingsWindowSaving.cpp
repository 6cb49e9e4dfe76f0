// What becomes of the form: its checks, its test against the server, and the saved connections.

#include <algorithm>
#include <cerrno>

#include <QRegularExpression>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/ConnectionRules.h"
#include "connection/ConnectionUrl.h"
#include "connection/SettingsWindow.h"
#include "connection/VDConnectionInfo.h"
#include "platform/system/FileLock.h"
#include "platform/system/Preferences.h"
#include "platform/system/SingleInstance.h"
#include "platform/ui/UserInterface.h"
#include "webdav/VDWebDAVConnect.h"

using ConnectionRules::kConnectNames;
using ConnectionRules::kUnnamed;

namespace {

constexpr int kLockWaitMs = 1000;

void tell(const char *titleKey, const QString &text) {
    VDCommonUtils::showAlert({.title = localizedText(titleKey),
                              .text = text,
                              .informativeText = {},
                              .buttons = {localizedText("Common_Button_OK")}});
}

void refuse(const QString &text) {
    tell("Common_Error_Title", text);
}

// Tells what an error of the settings says, if there is one.
void tellProblem(const std::optional<Error> &error) {
    if (error)
        refuse(error->userInfo.value(QStringLiteral("OUTPUT")).toString());
}

struct TypedText {
    const char *labelKey;
    QString text;
    int limit;  // bytes
};

QList<TypedText> typedTexts(const VDConnectionInfo &form) {
    return {{"Cli_Field_Url", form.RemoteURL, 8000},
            {"Cli_Field_User", form.username, 1000},
            {"Settings_Password", form.password, 1000},
            {"Cli_Field_MountPoint", form.mountPoint, 4000},
            {"Cli_Field_ProxyHost", form.proxyHost, 255},
            {"Cli_Field_ProxyUser", form.proxyUsername, 1000},
            {"Settings_ProxyPassword", form.proxyPassword, 1000}};
}

bool hasControlCharacter(const QString &text) {
    return std::any_of(text.begin(), text.end(), [](QChar character) {
        return character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
               character == QChar::ParagraphSeparator;
    });
}

QString proxyProblem(const VDConnectionInfo &form) {
    if (!form.isUseProxy.toBool() || form.isProxyAuto.value_or(false))
        return {};
    static const QRegularExpression noHost(QStringLiteral("[\\s/@]"));
    if (form.proxyHost.isEmpty() || form.proxyHost.contains(noHost))
        return localizedText("Settings_ProxyHost");
    const int port = form.proxyPort.value_or(0);
    return port > 0 && port < 65536 ? QString() : localizedText("Settings_ProxyPort");
}

// What the window says to it isn't what a command says.
bool isLoginInUrl(const char *key) {
    return QLatin1String(key) == QLatin1String("Cli_Url_Login");
}

// The message why a field of the form can't be used, null when all can; the URL has rules of its
// own.
QString fieldProblem(const VDConnectionInfo &form) {
    for (const TypedText &each : typedTexts(form)) {
        if (hasControlCharacter(each.text))
            return localizedText("Settings_ControlCharacter", localizedText(each.labelKey));
        if (each.text.toUtf8().size() > each.limit)
            return localizedText("Settings_TooLong", localizedText(each.labelKey));
    }
    return proxyProblem(form);
}

}  // namespace

// The gate.

bool SettingsWindow::shouldSelectRow(int row) {
    if (row < 0 || isTesting)
        return false;
    const RecordPtr form = getWindowParams();
    // The same bad form is refused once without a word: a double event tells it once.
    if (beforeCinfo && form->equals(*beforeCinfo)) {
        beforeCinfo = nullptr;
        return false;
    }
    const int leftRow = TableConnectList.selectedRow();
    const QStringList names = application.connectNames.connectNames();
    if (leftRow < 0 || leftRow >= names.size())
        return true;

    const QString oldName = names[leftRow] == kUnnamed ? QString() : names[leftRow];
    const RecordPtr old = application.conInfoList.value(oldName);
    const bool isKept = old && old->isMount;
    if (!isKept && !saveForm(leftRow, form, oldName)) {
        beforeCinfo = form;
        return false;
    }
    showRow(row);
    return true;
}

bool SettingsWindow::saveForm(int row, const RecordPtr &form, const QString &oldName) {
    if (const char *problem = ConnectionRules::nameProblem(form->connectionName)) {
        refuse(localizedText(problem));
        return false;
    }
    const RecordPtr old = application.conInfoList.value(oldName);
    if (old && form->equals(*old))
        return true;
    if (!areFieldsUsable(*form) ||
        !checkConectionIsNew(oldName != form->connectionName, form.get()))
        return false;
    // The test served events, and with them perhaps a mount.
    if (isMounted(oldName)) {
        refuse(localizedText("Cli_MountedNoEdit", oldName));
        return false;
    }
    return storeForm(row, form, oldName);
}

bool SettingsWindow::areFieldsUsable(const VDConnectionInfo &form) const {
    QString problem = fieldProblem(form);
    // What a saved record shows isn't in the form in which URLs are typed.
    const QString &url = txtRemoteURL.text();
    if (const char *key = ConnectionUrl::problemOf(url);
        problem.isNull() && key && (url.isEmpty() || url != shownURL))
        problem = localizedText(isLoginInUrl(key) ? "Settings_UrlLogin" : key);
    if (!problem.isNull())
        refuse(problem);
    return problem.isNull();
}

bool SettingsWindow::checkConectionIsNew(bool isRenamed, VDConnectionInfo *record) {
    const RecordPtr form = record ? nullptr : getWindowParams();
    VDConnectionInfo &checked = record ? *record : *form;
    for (const RecordPtr &other : std::as_const(application.conInfoList)) {
        const bool isOther = other->connectionName != currentConnectName;
        if (isRenamed && (other->connectionName == checked.connectionName ||
                          (isOther && ConnectionRules::isSameName(other->connectionName,
                                                                  checked.connectionName)))) {
            refuse(localizedText("AppDelegate_54"));
            return false;
        }
    }
    for (const RecordPtr &other : std::as_const(application.conInfoList)) {
        if (other->connectionName != currentConnectName &&
            ConnectionRules::doPlacesClash(checked, *other)) {
            refuse(localizedText("AppDelegate_55"));
            return false;
        }
    }
    // Whoever holds the key down saves a connection whose server can't be reached now.
    if (window.optionHeld())
        return true;
    const auto session = testLogin(checked);
    if (!session)
        return false;
    if (checked.saveID)
        checked.username = session->coninfo->username;
    if (checked.savePassword)
        checked.password = session->coninfo->password;
    return true;
}

std::shared_ptr<VDWebDAVConnect> SettingsWindow::testLogin(VDConnectionInfo &record) {
    isTesting = true;
    enableControls();
    auto session = application.checkLogin(record);
    isTesting = false;
    enableControls();
    return session;
}

// What is saved.

bool SettingsWindow::storeForm(int row, const RecordPtr &form, const QString &oldName) {
    const QString &name = form->connectionName;
    const bool isRenamed = name != oldName;
    FileLock lock(SingleInstance::folder() + QStringLiteral("/settings.lock"));
    if (!beginChange(lock))
        return false;
    QStringList names = application.connectNames.connectNames();
    names[row] = name;
    std::optional<Error> error;
    Preferences::standard().setValue(kConnectNames, withNamesOfOthers(names, oldName));
    if (!form->saveConnectInfo(&error)) {
        Preferences::standard().discard();
        tellProblem(error);
        return false;
    }
    application.conInfoList[name] = form;
    if (isRenamed && application.conInfoList.remove(oldName) > 0) {
        // Where this fails, the next change that reaches the file takes the old keys along.
        VDConnectionInfo::deleteConnectInfo(oldName, &error);
        tellProblem(error);
    }
    if (isRenamed)
        application.connectNames.updateName(name, row);
    return true;
}

// Other processes save connections too: two that change the list of names must not both start from
// the same one.
bool SettingsWindow::beginChange(FileLock &lock) const {
    SingleInstance::makeFolder();
    if (lock.take(kLockWaitMs) == EBUSY) {
        refuse(localizedText("Cli_SettingsBusy"));
        return false;
    }
    std::optional<Error> error;
    const bool isRead = Preferences::standard().synchronize(&error);
    tellProblem(error);
    return isRead;
}

// The names for the store: without the unsaved row, and with those that others added meanwhile.
QStringList SettingsWindow::withNamesOfOthers(QStringList names, const QString &leftOut) const {
    const QStringList known = application.connectNames.connectNames();
    const QStringList stored = Preferences::standard().value(kConnectNames).toStringList();
    names.removeAll(kUnnamed);
    for (const QString &name : stored) {
        if (name != leftOut && !known.contains(name) && !names.contains(name))
            names.append(name);
    }
    return names;
}

// The buttons.

void SettingsWindow::putConnectTest() {
    const RecordPtr form = getWindowParams();
    if (isBusy || !areFieldsUsable(*form))
        return;
    const auto session = testLogin(*form);
    if (!session)
        return;
    tell("Common_Confirm_Title", localizedText("AppDelegate_53"));
    const ASHttpConnectInfo &used = *session->coninfo;
    certArr = used.clientCertificates;
    if (!certArr.isEmpty())
        btnSelectCert.setTitle(localizedText("AppDelegate_60"));
    if (saveID.state())
        txtUsername.setText(used.username);
    if (savePassword.state())
        txtPassword.setText(used.password);
    isAllowSelfsign.setState(!used.validatesSecureCertificate);
}

void SettingsWindow::submit() {
    beforeCinfo = nullptr;
    if (shouldSelectRow(0))
        window.hide();
    beforeCinfo = nullptr;
}

void SettingsWindow::cancel() {
    if (isTesting)
        return application.cancelLogins();
    certArr.clear();
    const QStringList names = application.connectNames.connectNames();
    if (!names.isEmpty() && !application.conInfoList.contains(names.last())) {
        application.connectNames.removeConnectNameAtIndex(names.size() - 1);
        reloadTable();
    }
    window.hide();
}

// Unlike the button that says so, the frame of a window doesn't promise to drop anything.
void SettingsWindow::closeWindow() {
    if (isTesting || mayDropForm())
        cancel();
}

bool SettingsWindow::mayDropForm() const {
    const bool isTyped = window.isVisible() && TableConnectList.selectedRow() >= 0 &&
                         !viewOptionTab.isHidden() && !getWindowParams()->equals(*shownForm);
    constexpr int kDrop = 1;
    return !isTyped ||
           VDCommonUtils::showAlert({.title = localizedText("Common_Confirm_Title"),
                                     .text = localizedText("Settings_Unsaved"),
                                     .informativeText = {},
                                     .buttons = {localizedText("Settings_KeepEditing"),
                                                 localizedText("Settings_Drop")}}) == kDrop;
}

void SettingsWindow::addNewInfo() {
    if (isBusy || (TableConnectList.selectedRow() >= 0 && !shouldSelectRow(0)))
        return;
    application.connectNames.addName(kUnnamed);
    const int row = application.connectNames.numberOfRowsInTableView() - 1;
    showRow(row);
    TableConnectList.selectRow(row);
}

void SettingsWindow::deleteInfo() {
    const int row = TableConnectList.selectedRow();
    const QString name = application.connectNames.tableView({}, row);
    if (isBusy || name.isNull())
        return;
    if (isMounted(name))
        return refuse(localizedText("AppDelegate_61"));
    constexpr int kDelete = 1;
    const int answer = VDCommonUtils::showAlert(
        {.title = localizedText("AppDelegate_20"),
         .text = localizedText("AppDelegate_23"),
         .informativeText = {},
         .buttons = {localizedText("AppDelegate_21"), localizedText("AppDelegate_22")}});
    // The question served events, and with them perhaps a mount.
    if (answer != kDelete || isMounted(name) || !removeStored(name))
        return;
    TableConnectList.deselect();
    application.connectNames.removeConnectNameAtIndex(row);
    application.conInfoList.remove(name);
    windowReset();
}

bool SettingsWindow::removeStored(const QString &name) const {
    if (!application.conInfoList.contains(name))
        return true;
    FileLock lock(SingleInstance::folder() + QStringLiteral("/settings.lock"));
    if (!beginChange(lock))
        return false;
    QStringList names = application.connectNames.connectNames();
    names.removeAll(name);
    std::optional<Error> error;
    Preferences::standard().setValue(kConnectNames, withNamesOfOthers(names, name));
    if (VDConnectionInfo::deleteConnectInfo(name, &error))
        return true;
    Preferences::standard().discard();
    tellProblem(error);
    return false;
}
