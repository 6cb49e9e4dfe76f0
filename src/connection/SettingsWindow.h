#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QList>
#include <QMap>
#include <QString>

#include "common/Error.h"
#include "connection/VDDataSource.h"
#include "http/ASHttpConnectInfo.h"
#include "platform/ui/Controls.h"

class ClientIdentitySource;
class FileLock;
class VDWebDAVConnect;
struct VDConnectionInfo;

// The window of the saved connections: a table of their names, and a form for one of them. Leaving
// a row saves it, once it has been checked and tested against the server. Main thread; a test
// serves events while it waits.
class SettingsWindow {
  public:
    // All are the application's and outlive the window. checkLogin tells the user why it failed;
    // cancelLogins makes those under way fail without a message.
    struct Application {
        VDDataSource &connectNames;
        QMap<QString, std::shared_ptr<VDConnectionInfo>> &conInfoList;
        ClientIdentitySource &identities;
        std::function<std::shared_ptr<VDWebDAVConnect>(VDConnectionInfo &)> checkLogin;
        std::function<void()> cancelLogins;
    };
    explicit SettingsWindow(const Application &application);
    SettingsWindow(const SettingsWindow &) = delete;
    SettingsWindow &operator=(const SettingsWindow &) = delete;

    Window window{QStringLiteral("VDSettingsWindow")};
    Table TableConnectList{{QStringLiteral("connectionName")}};
    Button btnAdd, btnDelete;
    Button btnConnectTest, btnSubmit, btnCancel;

    // The form. Names as the saved record has them.
    TabGroup viewOptionTab;
    TextField txtConnectionName, txtRemoteURL;
    CheckBox saveID, savePassword;
    TextField txtUsername, txtPassword;
    CheckBox chengeMountPoint;
    TextField txtMountPoint;
    CheckBox isUseProxy;
    Choice selectConfProxy;  // kAutomatic, kManual
    TextField txtProxyHost, txtProxyPort;
    CheckBox isProxyAuthentication;
    TextField txtProxyUsername, txtProxyPassword;
    Choice selectDivideSize;
    CheckBox isUseCert;
    Button btnSelectCert;
    CheckBox isAllowSelfsign, isAutoMount;
    static constexpr int kAutomatic = 0;
    static constexpr int kManual = 1;

    // Shown while a login is under way: what is being tried, and the way to give it up.
    TextField txtBusy;
    Button btnStop;

    // A record into the form, and the form as a new record.
    void setWindowParams(const VDConnectionInfo &record);
    std::shared_ptr<VDConnectionInfo> getWindowParams() const;
    // Clears the window and shows the first row.
    void windowReset();
    // The names in the table have changed.
    void reloadTable();
    // Whether what was typed since the record was shown may go: asks where there is any.
    bool mayDropForm() const;
    // A mount came up or ended, perhaps of the record that the form shows.
    void mountStateChanged();
    // A login of that connection or server is under way; null: none any more.
    void showBusy(const QString &shownName);

    void putConnectTest();
    void submit();
    void cancel();
    void addNewInfo();
    void deleteInfo();
    void putSelectCert();
    // Whether the user may leave the selected row for this one: saves it, or tells why not.
    bool shouldSelectRow(int row);
    // The clash check and the login test, of the form where there is no record. What the user
    // entered into the login's questions is put into the record.
    bool checkConectionIsNew(bool isRenamed, VDConnectionInfo *record = nullptr);

    void switchSaveUserID();
    void switchSavePass();
    void switchUseCert();
    void switchUseProxy();
    void switchProxyAuth();
    void switchProxyConf();
    void switchChengeMountPoint();
    void textShouldEndEditing();

  private:
    using RecordPtr = std::shared_ptr<VDConnectionInfo>;

    void connectActions();
    void enableControls();
    void showRow(int row);
    void showCertificateTitle();
    QString defaultMountPoint() const;
    QString typedName() const;
    QString typedURL() const;
    bool isMounted(const QString &name) const;
    void closeWindow();
    // These tell the user what is wrong. oldName is that of the record in the row, null for none.
    bool saveForm(int row, const RecordPtr &form, const QString &oldName);
    bool areFieldsUsable(const VDConnectionInfo &form) const;
    bool storeForm(int row, const RecordPtr &form, const QString &oldName);
    bool removeStored(const QString &name) const;
    bool beginChange(FileLock &lock) const;
    QStringList withNamesOfOthers(QStringList names, const QString &leftOut) const;
    std::shared_ptr<VDWebDAVConnect> testLogin(VDConnectionInfo &record);

    const Application application;
    QString currentConnectName;                     // of the record shown
    std::shared_ptr<VDConnectionInfo> shownForm;    // the form before anything was typed
    QString shownURL;                               // as the record has it
    std::shared_ptr<VDConnectionInfo> beforeCinfo;  // the last form that failed its check
    QList<ClientIdentity> certArr;                  // the identity chosen in the window
    bool isBusy = false;
    bool isTesting = false;  // a login test of this window's is under way
};
