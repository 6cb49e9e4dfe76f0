#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>

#include "common/Error.h"
#include "connection/VDDataSource.h"
#include "fs/MountOwner.h"
#include "platform/fuse/GMUserFileSystem.h"

class ClientIdentitySource;
class LoginCheck;
class LoginItems;
class MenuModel;
class QTimer;
class SettingsWindow;
class SystemProxySource;
class VDWebDAVConnect;
class VelmoraDisk;
struct StatusItem;
struct VDConnectionInfo;

// The application: its start and end, the saved connections, and the tables of what is mounted. All
// of it belongs to the main thread, which never waits for a volume's own thread.
class AppDelegate : public MountOwner, public std::enable_shared_from_this<AppDelegate> {
  public:
    // Neither is owned; both outlive the application.
    static std::shared_ptr<AppDelegate> create(const SystemProxySource &proxies,
                                               ClientIdentitySource &identities);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate &) = delete;
    AppDelegate &operator=(const AppDelegate &) = delete;

    // A mount came up, failed or ended; told on the main thread once the tables show it.
    std::function<void(const QString &connectionName, GMUserFileSystem::Notification,
                       const std::optional<Error> &)>
        mountChanged;

    // Start. Deletes the local store of every mount, but saves at home what was not sent yet and
    // tells the user.
    void applicationDidFinishLaunching();
    // Reads the saved connections and mounts those that are marked for it, but not the one that the
    // user is about to mount in his own way.
    void readAllDefault(const QString &chosenName = {});
    // The saved connections that are marked for it.
    static QStringList markedNames();
    // Mounts those of them that aren't.
    void mountMarked(const QStringList &names);
    // Takes in what other processes did to one saved connection, unless it is mounted.
    void reloadConnectInfo(const QString &name);

    // End. Unmounts everything, and calls back when the last handle is released and the store is
    // deleted. No mount begins any more.
    void applicationShouldTerminate(std::function<void()> ended);

    // Sends standard error to a new file at the path, or, for a null path, to the file that the
    // settings name; one that has grown too long is set aside first. False when the new file can't
    // be made.
    bool logSetup(const QString &path = {});
    // Where the log lies, "~" expanded.
    static QString logPath();
    // Sends standard error to the log as it is.
    static void joinLog();

    // Begins to mount the connection, or to unmount it if it is mounted. Blocks for the login,
    // which may ask the user. False, after a message, when nothing was begun.
    bool connectVelmora(const QString &name);
    void mountVelmora(const std::shared_ptr<VDWebDAVConnect> &session,
                      const QString &connectionName);
    // Asks for the end of a mount without blocking; `refused` gets the reason, on the main thread,
    // when the volume stays mounted. The end itself comes as mountChanged.
    void unmountVelmora(const QString &name, GMUserFileSystem::UnmountMode mode,
                        std::function<void(const Error &)> refused);
    // Serves events while it waits.
    std::shared_ptr<VDWebDAVConnect> checkLogin(VDConnectionInfo &connectInfo);
    // Makes every login under way fail without a message.
    void cancelLogins();

    // The desktop's part; a program without a desktop makes none of it. The login items and what
    // ends the program are kept.
    void setupStatusItem(std::unique_ptr<LoginItems> loginItems, std::function<void()> quit);
    // After start: reads the saved connections, mounts those marked for it, resets the window, and
    // mounts what a URL has asked for meanwhile.
    void finishLaunching();
    // "velmoradisk://go/" and a connection's name; mounts it, at the end of the start at the
    // earliest.
    void handleURLEvent(const QString &url);
    void WakeupWindow();
    // Lets the user choose another log file.
    void logSelect();
    // Takes in connections that other processes saved or removed.
    void reloadConnections();

    static QStringList makeMountOption(const QString &volumeName);
    // 0 whatever the index: uploads of a mounted volume are never divided.
    static qint64 getSizeOfIndex(std::optional<int> index);
    // Where a connection is mounted, for a session logged in as that user.
    static QString mountPointOf(const VDConnectionInfo &connectInfo, const QString &user);

    // Bring the tables up to date after a mount has gone. umount() may be called on any thread.
    void mount(const QString &connectionName);
    void umount(const QString &connectionName) override;
    bool isMount() const;
    // Whether no volume's thread runs any more.
    bool isIdle() const { return hosts.isEmpty(); }

    std::unique_ptr<StatusItem> statusItem;    // null without a desktop
    std::unique_ptr<SettingsWindow> settings;  // null without a desktop
    VDDataSource connectNames;
    QMap<QString, std::shared_ptr<VDConnectionInfo>> conInfoList;
    QMap<QString, std::shared_ptr<GMUserFileSystem>> fsList;
    QMap<QString, std::shared_ptr<VelmoraDisk>> pffsList;
    // When each mount came up; no entry before that.
    QMap<QString, QDateTime> mountedSince;

  private:
    // A host from its mount until its thread has ended, which may be after it left the table.
    struct HostState {
        QString connectionName;
        bool isRetiring = false;
        GMUserFileSystem::Notification outcome =
            GMUserFileSystem::Notification::kGMUserFileSystemDidUnmount;
        std::optional<Error> error;
    };

    AppDelegate(const SystemProxySource &proxies, ClientIdentitySource &identities);

    void hostChanged(const GMUserFileSystem *host, GMUserFileSystem::Notification notification,
                     const std::optional<Error> &error);
    // Waits aside for the end of the host's thread, which must not happen here.
    void retire(std::shared_ptr<GMUserFileSystem> host);
    void hostEnded(const GMUserFileSystem *host);
    void leaveTables(const QString &connectionName, bool isMount);
    std::shared_ptr<VDConnectionInfo> recordOf(const QString &connectionName) const;
    void autoMount(VDConnectionInfo &record);
    void endTermination();

    std::function<void()> later(std::function<void()> work);
    void fillMenuIcon();
    void fillConnectItems();
    void putAutoStartItem(bool isOn);
    void quit();
    void showMountState();
    bool isLoggingIn(const QString &name) const;
    void showLogin();

    const SystemProxySource &proxies;
    ClientIdentitySource &identities;
    int subscription = 0;
    QHash<const GMUserFileSystem *, HostState> hosts;
    bool isTerminating = false;
    std::function<void()> terminated;

    struct Login {
        LoginCheck *check;
        QString name;
        QString shownName;  // the host, where the connection has no name yet
    };
    QList<Login> logins;  // under way; the last one runs inside the others
    bool inited = false;  // the start has finished
    QString autoConnect;  // what a URL asked for before that; null for nothing

    std::unique_ptr<LoginItems> loginItems;
    std::function<void()> quitProgram;
    std::shared_ptr<MenuModel> connectItems;
    std::unique_ptr<QTimer> uploadTimer;  // runs while something is mounted
};
