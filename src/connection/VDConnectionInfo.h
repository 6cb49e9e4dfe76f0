#pragma once

#include <memory>
#include <optional>

#include <QList>
#include <QString>
#include <QVariant>

#include "common/Error.h"
#include "http/ASHttpConnectInfo.h"
#include "platform/system/Preferences.h"

class SystemProxySource;

// One saved connection: what the user entered and what a mount needs. An unset optional reads as
// false or 0, but is told from it when it is saved. Main thread.
struct VDConnectionInfo {
    QString connectionName;
    QString RemoteURL;
    QString username;
    bool saveID = false;  // keep username in the store
    QString password;     // clear text
    bool savePassword = false;
    QString mountPoint;
    bool chengeMountPoint = false;  // mountPoint is the user's choice and not the default
    // A flag; a text in a record of the old single-connection form, see loadConnectInfo().
    QVariant isUseProxy = false;
    std::optional<bool> isProxyAuto;  // take the proxy from the system
    QString proxyHost;
    std::optional<int> proxyPort;
    std::optional<bool> isUseProxyAuth;
    QString proxyUsername;
    QString proxyPassword;  // clear text
    std::optional<int> devideSizeIndex;
    std::optional<bool> isUseCert;
    QList<ClientIdentity> certArr;  // the chosen identity; never stored
    std::optional<bool> isAllowSelfsign;
    std::optional<bool> isAutoMount;
    bool isMount = false;  // mounted at present; never stored

    // The record of that name, null when there is none. "Velmora" takes over the record of the old
    // single-connection form if there is one.
    static std::shared_ptr<VDConnectionInfo> loadConnectInfo(
        const QString &connectionName, Preferences &store = Preferences::standard());
    // The record of the old single-connection form, null when there is none.
    static std::shared_ptr<VDConnectionInfo> loadConnectInfo(
        Preferences &store = Preferences::standard());

    // Writing the store; false with the error of Preferences::synchronize when that failed.
    bool saveConnectInfo(ErrorOut error, Preferences &store = Preferences::standard()) const;
    static bool deleteConnectInfo(const QString &connectionName, ErrorOut error,
                                  Preferences &store = Preferences::standard());
    static bool deleteConnectInfo(ErrorOut error, Preferences &store = Preferences::standard());

    // Whether nothing that the user can change differs. Names and passwords that aren't saved don't
    // count, nor do proxy settings that aren't used.
    bool equals(const VDConnectionInfo &other) const;

    // The parameters of a session. Blocks while the source works out the system's proxy.
    std::shared_ptr<ASHttpConnectInfo> makeHttpConnectinfo(const SystemProxySource &proxies) const;
};
