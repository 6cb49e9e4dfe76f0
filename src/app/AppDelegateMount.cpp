// From a chosen connection to its volume and back.

#include <chrono>
#include <pwd.h>
#include <thread>
#include <unistd.h>

#include <QCoreApplication>

#include "app/AppDelegate.h"
#include "app/RunAside.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "webdav/VDWebDAVConnect.h"

using Notification = GMUserFileSystem::Notification;

namespace {

QString decomposed(const QString &text) {
    return text.normalized(QString::NormalizationForm_D);
}

QString composed(const QString &text) {
    return text.normalized(QString::NormalizationForm_C);
}

// The full name of the local user, or the short name of one who has none.
QString localUserName() {
    const passwd *const entry = getpwuid(getuid());
    if (!entry)
        return qEnvironmentVariable("USER");
    const QString fullName =
        QString::fromLocal8Bit(entry->pw_gecos).section(QLatin1Char(','), 0, 0);
    return fullName.isEmpty() ? QString::fromLocal8Bit(entry->pw_name) : fullName;
}

QString iconPath() {
    return QCoreApplication::applicationDirPath() +
           QStringLiteral("/../share/velmoradisk/velmoradisk.icns");
}

// A program that has just ended, or one that asks for the volume's space, uses it a moment longer.
std::optional<Error> unmountWithPatience(GMUserFileSystem &host,
                                         GMUserFileSystem::UnmountMode mode) {
    constexpr int kAttempts = 20;
    constexpr std::chrono::milliseconds kPause(50);
    for (int attempt = 1;; ++attempt) {
        std::optional<Error> error;
        if (host.unmount(mode, &error))
            return std::nullopt;
        if (!error)
            error = Error::errorWithPOSIXCode(EIO);
        if (attempt == kAttempts || !error->is(kPosixDomain, EBUSY))
            return error;
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace

bool AppDelegate::connectVelmora(const QString &name) {
    // A URL kept for the end of the start, or a click while the end waits for uploads.
    if (isTerminating)
        return false;
    const auto record = conInfoList.value(name);
    if (!record) {
        VDCommonUtils::showAlert({.title = localizedText("Common_Error_Title"),
                                  .text = localizedText("AppDelegate_51"),
                                  .informativeText = {},
                                  .buttons = {localizedText("Common_Button_OK")}});
        return false;
    }
    if (record->isMount) {
        if (fsList.contains(record->connectionName))
            unmountVelmora(record->connectionName, GMUserFileSystem::UnmountMode::kForce, {});
        else
            record->isMount = false;
        return true;
    }
    if (isLoggingIn(record->connectionName))
        return true;
    const auto session = checkLogin(*record);
    // The login asks and waits, and the end may have come meanwhile.
    if (!session || isTerminating)
        return false;
    mountVelmora(session, record->connectionName);
    return true;
}

void AppDelegate::mountVelmora(const std::shared_ptr<VDWebDAVConnect> &session,
                               const QString &connectionName) {
    const auto record = conInfoList.value(connectionName);
    if (!record)
        return;
    session->uploadDivideSize = getSizeOfIndex(record->devideSizeIndex);
    const QString volumeName = decomposed(record->connectionName);
    const auto disk = std::make_shared<VelmoraDisk>(
        session, weak_from_this(), mountPointOf(*record, session->user), volumeName);
    const auto host = std::make_shared<GMUserFileSystem>(disk, false);
    hosts.insert(host.get(), HostState{.connectionName = record->connectionName, .error = {}});
    host->mountAtPath(disk->mountPath(), makeMountOption(volumeName), true, true);
    // Before it is known whether the mount works: a failure takes it back.
    fsList[record->connectionName] = host;
    pffsList[record->connectionName] = disk;
    record->isMount = true;
    showMountState();
}

void AppDelegate::unmountVelmora(const QString &name, GMUserFileSystem::UnmountMode mode,
                                 std::function<void(const Error &)> refused) {
    const auto error = std::make_shared<std::optional<Error>>();
    runAside(
        [host = fsList.value(name), mode, error]() mutable {
            if (host)
                *error = unmountWithPatience(*host, mode);
            host.reset();
        },
        [name, error, refused = std::move(refused)] {
            if (!*error)
                return;
            VDCommonUtils::outputLog(*error);
            if (refused)
                refused(**error);
        });
}

QStringList AppDelegate::makeMountOption(const QString &volumeName) {
    return {
        QStringLiteral("noreadahead"),           QStringLiteral("noubc"),
        QStringLiteral("negative_vncache"),      QStringLiteral("entry_timeout=1.0"),
        QStringLiteral("negative_timeout=1.0"),  QStringLiteral("attr_timeout=1.0"),
        QStringLiteral("ac_attr_timeout=1.0"),   QStringLiteral("daemon_timeout=0"),
        QStringLiteral("volname=") + volumeName, QStringLiteral("fsname=Velmora Disk"),
        QStringLiteral("fssubtype=4"),           QStringLiteral("volicon=") + iconPath(),
    };
}

qint64 AppDelegate::getSizeOfIndex(std::optional<int>) {
    return 0;
}

QString AppDelegate::mountPointOf(const VDConnectionInfo &connectInfo, const QString &user) {
    if (!connectInfo.chengeMountPoint)
        // Composed, unlike the volume's name: file names on Linux are told apart by their bytes,
        // and people type composed ones.
        return QStringLiteral("/Volumes/") + composed(connectInfo.connectionName);
    QString path = connectInfo.mountPoint;
    return path.replace(QLatin1String("${user}"), user)
        .replace(QLatin1String("${mac_user}"), localUserName());
}

void AppDelegate::hostChanged(const GMUserFileSystem *host, Notification notification,
                              const std::optional<Error> &error) {
    const auto state = hosts.find(host);
    if (state == hosts.end())
        return;
    const QString name = state->connectionName;
    if (notification != Notification::kGMUserFileSystemDidMount) {
        state->outcome = notification;
        state->error = error;
        if (const auto current = fsList.value(name); current.get() == host)
            retire(current);
        return;
    }
    mountedSince[name] = QDateTime::currentDateTimeUtc();
    showMountState();
    if (mountChanged)
        mountChanged(name, notification, error);
}

void AppDelegate::retire(std::shared_ptr<GMUserFileSystem> host) {
    const GMUserFileSystem *const key = host.get();
    const auto state = hosts.find(key);
    if (state == hosts.end() || std::exchange(state->isRetiring, true))
        return;
    runAside(
        [host = std::move(host)]() mutable {
            host->waitUntilEnded();
            host.reset();
        },
        [weak = weak_from_this(), key] {
            if (const auto self = weak.lock())
                self->hostEnded(key);
        });
}

void AppDelegate::hostEnded(const GMUserFileSystem *host) {
    const HostState state = hosts.take(host);
    if (fsList.value(state.connectionName).get() == host)
        leaveTables(state.connectionName, false);
    if (mountChanged)
        mountChanged(state.connectionName, state.outcome, state.error);
    endTermination();
}

void AppDelegate::mount(const QString &connectionName) {
    leaveTables(connectionName, true);
}

void AppDelegate::umount(const QString &connectionName) {
    VDCommonUtils::postToMainThread([weak = weak_from_this(), connectionName] {
        if (const auto self = weak.lock())
            self->leaveTables(connectionName, false);
    });
}

void AppDelegate::leaveTables(const QString &connectionName, bool isMount) {
    const auto record = recordOf(connectionName);
    if (!record)
        return;
    record->isMount = isMount;
    mountedSince.remove(record->connectionName);
    pffsList.remove(record->connectionName);
    if (auto host = fsList.take(record->connectionName))
        retire(std::move(host));
    showMountState();
}

// A volume tells its decomposed name, while the tables go by the name as it was saved.
std::shared_ptr<VDConnectionInfo> AppDelegate::recordOf(const QString &connectionName) const {
    if (const auto record = conInfoList.value(composed(connectionName)))
        return record;
    for (const auto &record : conInfoList) {
        if (decomposed(record->connectionName) == decomposed(connectionName))
            return record;
    }
    return nullptr;
}

bool AppDelegate::isMount() const {
    for (const auto &record : conInfoList) {
        if (record->isMount)
            return true;
    }
    return false;
}
