// The requests that mount and unmount.

#include <cerrno>
#include <cstring>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

#include "app/MountService.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "platform/system/ControlChannel.h"
#include "platform/ui/VDModelessMessage.h"

using Notification = GMUserFileSystem::Notification;

namespace {

const QString kDefaultFolder = QStringLiteral("/Volumes");

QString composed(const QString &text) {
    return text.normalized(QString::NormalizationForm_C);
}

QString textOf(const Error &error) {
    const QString output = error.userInfo.value(QStringLiteral("OUTPUT")).toString();
    if (!output.isEmpty())
        return output;
    return error.isPosix() ? QString::fromLocal8Bit(strerror(error.code))
                           : QStringLiteral("%1 %2").arg(error.domain).arg(error.code);
}

// What a command gives for this one mount; nothing of it is saved.
void applyOptions(const QJsonObject &request, VDConnectionInfo &record) {
    const auto text = [&request](const char *key) {
        return request[QLatin1String(key)].toString();
    };
    if (request.contains(QStringLiteral("username")))
        record.username = text("username");
    if (request.contains(QStringLiteral("password")))
        record.password = text("password");
    if (request[QStringLiteral("acceptCertificate")].toBool())
        record.isAllowSelfsign = true;
    if (!request.contains(QStringLiteral("mountPoint")))
        return;
    record.chengeMountPoint = true;
    record.mountPoint = text("mountPoint");
}

}  // namespace

void MountService::mount(Job &job) {
    if (!job.request.contains(QStringLiteral("name")))
        return mountMarked(job);
    const bool isSaved = !job.request.contains(QStringLiteral("url"));
    readConnections(isSaved ? job.request[QStringLiteral("name")].toString() : QString());
    if (isStopping)
        return job.reply(resultOf(false, localizedText("Cli_Stopping")));
    QString name;
    const QString problem = prepareRecord(job.request, &name);
    if (!problem.isEmpty()) {
        forgetUnsaved(name);
        return job.reply(resultOf(false, problem));
    }
    mountOne(job, name);
}

void MountService::readConnections(const QString &chosenName) {
    if (!std::exchange(hasReadConnections, true))
        application->readAllDefault(chosenName);
}

void MountService::mountMarked(Job &job) {
    // Before one that fails loses its mark.
    const QStringList marked = AppDelegate::markedNames();
    MountWait wait{.job = job, .names = {}, .mounted = {}, .failures = {}};
    const auto isMounted = [this](const QString &name) {
        const auto record = application->conInfoList.value(name);
        return record && record->isMount;
    };
    QStringList wanted = marked;
    wanted.removeIf(isMounted);
    if (hasReadConnections)
        application->mountMarked(wanted);
    else
        readConnections({});
    if (isStopping)
        return job.reply(resultOf(false, localizedText("Cli_Stopping")));
    for (const QString &name : wanted) {
        if (!isMounted(name))
            wait.isComplete = false;
        else if (application->mountedSince.contains(name))
            wait.mounted += name;
        else
            wait.names += name;
    }
    wait.job.request[QStringLiteral("marked")] = marked.size();
    if (wait.names.isEmpty())
        return finishWait(wait);
    mountWaits += wait;
}

void MountService::mountOne(Job &job, const QString &name) {
    if (application->connectVelmora(name)) {
        mountWaits += MountWait{.job = job, .names = {name}, .mounted = {}, .failures = {}};
        return;
    }
    forgetUnsaved(name);
    job.reply(resultOf(false, isStopping ? localizedText("Cli_Stopping") : QString()));
}

// Makes the application's record of what is to be mounted; the message why not, or null.
QString MountService::prepareRecord(const QJsonObject &request, QString *name) {
    *name = request[QStringLiteral("name")].toString();
    if (request.contains(QStringLiteral("url"))) {
        const QString problem = prepareUnsaved(request, name);
        if (!problem.isEmpty())
            return problem;
    } else {
        prepareSaved(name);
    }
    const auto record = application->conInfoList.value(*name);
    if (!record)
        return localizedText("Cli_NoConnection", *name);
    if (application->pffsList.contains(*name))
        return mountedAlready(*name);
    applyOptions(request, *record);
    return mountPointProblem(*name);
}

// A saved name is also found as it is typed on another keyboard.
void MountService::prepareSaved(QString *name) {
    application->reloadConnectInfo(*name);
    if (application->conInfoList.contains(*name))
        return;
    *name = composed(*name);
    application->reloadConnectInfo(*name);
}

QString MountService::prepareUnsaved(const QJsonObject &request, QString *name) {
    const QString base = *name;
    const auto isTaken = [this, &name] {
        application->reloadConnectInfo(*name);
        return application->conInfoList.contains(*name);
    };
    const bool isChosen = request[QStringLiteral("isNameChosen")].toBool();
    for (int number = 2; !isChosen && isTaken(); ++number)
        *name = QStringLiteral("%1 %2").arg(base).arg(number);
    if (isTaken())
        return application->pffsList.contains(*name) ? mountedAlready(*name)
                                                     : localizedText("Cli_NameTaken", *name);
    const auto record = std::make_shared<VDConnectionInfo>();
    record->connectionName = *name;
    record->RemoteURL = request[QStringLiteral("url")].toString();
    application->conInfoList[*name] = record;
    unsavedNames.insert(*name);
    return {};
}

QString MountService::mountedAlready(const QString &name) const {
    return stateOf(name) == QStringLiteral("unmounting")
               ? localizedText("Cli_StillUnmounting", name)
               : localizedText("Cli_MountedAlready", name,
                               application->pffsList.value(name)->mountPath());
}

// What the volumes of this very process would make hang, and what has a remedy of its own.
QString MountService::mountPointProblem(const QString &name) const {
    const auto record = application->conInfoList.value(name);
    const QString path = QDir::cleanPath(AppDelegate::mountPointOf(*record, record->username));
    for (auto disk = application->pffsList.cbegin(); disk != application->pffsList.cend(); ++disk) {
        const QString other = disk.value()->mountPath();
        if (!other.isEmpty() && VDCommonUtils::isEqualPathOrSubPath(path, QDir::cleanPath(other)))
            return localizedText("Cli_MountPointTaken", path, disk.key());
    }
    if (!record->chengeMountPoint && !QFileInfo(kDefaultFolder).isDir())
        return localizedText("Cli_NoVolumes", kDefaultFolder);
    return {};
}

void MountService::unmount(const Job &job) {
    const QString target = job.request[QStringLiteral("target")].toString();
    const QString name = nameOfMount(target);
    if (name.isNull())
        return job.reply(resultOf(false, localizedText("Cli_NotMounted", target)));
    unmountWaits[name] += job;
    progressTimer.start();
    const auto refused = [this, name](const Error &error) {
        const QString message = error.isPosix() && error.code == EBUSY
                                    ? localizedText("Cli_InUse", name)
                                    : textOf(error);
        toldAtEnd.remove(composed(name));
        const QList<Job> waiting = unmountWaits.take(name);
        for (const Job &job : waiting)
            job.reply(resultOf(false, message));
    };
    const bool isForced = job.request[QStringLiteral("force")].toBool();
    using Mode = GMUserFileSystem::UnmountMode;
    application->unmountVelmora(name, isForced ? Mode::kForce : Mode::kPlain, refused);
}

// By name, or by mount point; null where nothing is mounted so.
QString MountService::nameOfMount(const QString &target) const {
    for (auto host = application->fsList.cbegin(); host != application->fsList.cend(); ++host) {
        if (composed(host.key()) == composed(target))
            return host.key();
    }
    if (!target.startsWith(QLatin1Char('/')))
        return {};
    for (auto disk = application->pffsList.cbegin(); disk != application->pffsList.cend(); ++disk) {
        if (composed(QDir::cleanPath(disk.value()->mountPath())) ==
            composed(QDir::cleanPath(target)))
            return disk.key();
    }
    return {};
}

// Whoever waits for the end of a volume is told what the server didn't take.
void MountService::noteAtEnd(const Alert &alert) {
    const QString known = nameOfMount(alert.volume);
    const QString name = known.isNull() ? composed(alert.volume) : known;
    if (stateOf(name) != QStringLiteral("unmounting"))
        return;
    isToldAtEnd = true;
    toldAtEnd[composed(name)] += alert.text;
}

void MountService::mountChanged(const QString &name, Notification notification,
                                const std::optional<Error> &error) {
    if (notification == Notification::kGMUserFileSystemDidMount) {
        endWaits(name, {});
    } else {
        const QString failure = error ? textOf(*error) : QString();
        if (notification == Notification::kGMUserFileSystemMountFailed) {
            const QString text =
                failure.isEmpty() ? localizedText("Cli_MountFailed", name) : failure;
            // Nobody waits for a mount that was chosen in a menu.
            if (!endWaits(name, text) && windows)
                VDModelessMessage::ShowMessageModeless(text, {}, name);
        }
        const QJsonArray messages = toldAtEnd.take(composed(name));
        QJsonObject result = resultOf(true);
        result[QStringLiteral("name")] = name;
        result[QStringLiteral("messages")] = messages;
        const QList<Job> waiting = unmountWaits.take(name);
        for (const Job &job : waiting)
            job.reply(result);
        const QList<Job> staying = stayers.take(name);
        for (const Job &job : staying)
            job.reply({{QStringLiteral("type"), QStringLiteral("ended")},
                       {QStringLiteral("messages"), messages}});
        forgetUnsaved(name);
    }
    considerEnd();
}

// False where nobody waited.
bool MountService::endWaits(const QString &name, const QString &failure) {
    QList<MountWait> ended;
    bool isAwaited = false;
    for (MountWait &wait : mountWaits) {
        if (!wait.names.removeOne(name))
            continue;
        isAwaited = true;
        if (failure.isEmpty())
            wait.mounted += name;
        else
            wait.failures += failure;
        if (failure.isEmpty() && wait.job.request[QStringLiteral("stay")].toBool()) {
            stayers[name] += wait.job;
            progressTimer.start();
        }
        if (wait.names.isEmpty())
            ended += wait;
        // Nobody waits for this mount any more: its command was broken off.
        if (failure.isEmpty() && wait.job.channel && !wait.job.channel->isOpen())
            application->unmountVelmora(name, GMUserFileSystem::UnmountMode::kForce, {});
    }
    mountWaits.removeIf([](const MountWait &wait) { return wait.names.isEmpty(); });
    for (const MountWait &wait : ended)
        finishWait(wait);
    return isAwaited;
}

void MountService::finishWait(const MountWait &wait) {
    QJsonArray mounted;
    for (const QString &name : wait.mounted) {
        if (const auto disk = application->pffsList.value(name))
            mounted += QJsonObject{{QStringLiteral("name"), name},
                                   {QStringLiteral("mountPoint"), disk->mountPath()}};
    }
    QJsonObject result =
        resultOf(wait.isComplete && wait.failures.isEmpty(), wait.failures.join(QLatin1Char('\n')));
    result[QStringLiteral("mounted")] = mounted;
    if (wait.job.request.contains(QStringLiteral("marked")))
        result[QStringLiteral("marked")] = wait.job.request[QStringLiteral("marked")];
    wait.job.reply(result);
}

// A record made for one mount goes with it.
void MountService::forgetUnsaved(const QString &name) {
    const auto record = application->conInfoList.value(name);
    if (!unsavedNames.contains(name) || (record && record->isMount))
        return;
    unsavedNames.remove(name);
    application->conInfoList.remove(name);
}
