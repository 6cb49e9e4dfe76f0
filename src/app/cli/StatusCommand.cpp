// status: what is mounted, how full it is, and what was told while nobody was there.

#include <chrono>
#include <future>
#include <linux/magic.h>
#include <memory>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <thread>

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include "app/AppDelegate.h"
#include "app/UnseenMessages.h"
#include "app/cli/Command.h"
#include "app/cli/RunningMounts.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/VDConnectionInfo.h"
#include "platform/fuse/FileAttributes.h"
#include "platform/system/DeadMounts.h"
#include "platform/system/Preferences.h"

namespace {

const QString kDead = QStringLiteral("dead");
const QString kMounted = QStringLiteral("mounted");
const QString kUnmounting = QStringLiteral("unmounting");
constexpr std::chrono::seconds kSpaceLimit(2);

struct Space {
    qint64 size = 0;  // bytes; 0 where the server doesn't tell
    qint64 free = 0;
};

// Asks each volume on a thread of its own, since one whose server is away doesn't answer. A thread
// that waits on ends with the process. Nothing where the server can't be reached.
std::future<std::optional<Space>> askSpace(const QString &mountPoint) {
    auto answer = std::make_shared<std::promise<std::optional<Space>>>();
    std::future<std::optional<Space>> space = answer->get_future();
    std::thread([answer, path = QFile::encodeName(mountPoint)] {
        struct statfs told;
        const auto unit = [&told](fsblkcnt_t blocks) {
            return qint64(blocks) * qint64(told.f_frsize);
        };
        struct stat folder;
        if (statfs(path.constData(), &told) != 0)
            return answer->set_value(std::nullopt);
        // A volume that is being unmounted has left the folder to the disk below.
        const bool isKnown =
            told.f_type == FUSE_SUPER_MAGIC && unit(told.f_blocks) != qint64(kUnknownVolumeSize);
        if (isKnown)
            return answer->set_value(Space{unit(told.f_blocks), unit(told.f_bavail)});
        // Unlike this question, the space has an answer also when the server is away.
        answer->set_value(stat(path.constData(), &folder) == 0 ? std::optional(Space())
                                                               : std::nullopt);
    }).detach();
    return space;
}

void addSpace(QJsonObject &mount, std::future<std::optional<Space>> &answer,
              std::chrono::steady_clock::time_point deadline) {
    std::optional<Space> space;
    const bool isAsked = answer.valid();
    if (isAsked && answer.wait_until(deadline) == std::future_status::ready)
        space = answer.get();
    mount[QStringLiteral("reachable")] = isAsked ? QJsonValue(space.has_value()) : QJsonValue();
    const bool isKnown = space && space->size > 0;
    mount[QStringLiteral("size")] = isKnown ? QJsonValue(space->size) : QJsonValue();
    mount[QStringLiteral("used")] = isKnown ? QJsonValue(space->size - space->free) : QJsonValue();
    mount[QStringLiteral("free")] = isKnown ? QJsonValue(space->free) : QJsonValue();
}

// A volume that uploads answers afterwards, and who waits for that keeps it from being unmounted.
bool isAnswering(const QJsonObject &mount) {
    return mount[QStringLiteral("state")] == kMounted &&
           mount[QStringLiteral("uploads")].toArray().isEmpty();
}

QJsonArray withSpace(const QJsonArray &mounts) {
    std::vector<std::future<std::optional<Space>>> answers;
    for (const auto &each : mounts) {
        const QJsonObject mount = each.toObject();
        answers.push_back(isAnswering(mount)
                              ? askSpace(mount[QStringLiteral("mountPoint")].toString())
                              : std::future<std::optional<Space>>());
    }
    const auto deadline = std::chrono::steady_clock::now() + kSpaceLimit;
    QJsonArray result;
    for (qsizetype i = 0; i < mounts.size(); ++i) {
        QJsonObject mount = mounts[i].toObject();
        addSpace(mount, answers[size_t(i)], deadline);
        result += mount;
    }
    return result;
}

QString sizeText(const QJsonValue &bytes) {
    return QLocale().formattedDataSize(bytes.toInteger());
}

QString uploadText(const QJsonObject &upload) {
    return upload[QStringLiteral("path")].toString() + QLatin1Char(' ') +
           localizedText("Cli_Uploaded", sizeText(upload[QStringLiteral("sent")]),
                         sizeText(upload[QStringLiteral("total")]));
}

// What `unmount` takes for a volume that no instance knows: its connection's name, else its place.
QString nameAt(const QString &mountPoint) {
    const QStringList names =
        Preferences::standard().value(QStringLiteral("connect_names")).toStringList();
    for (const QString &name : names) {
        const auto record = VDConnectionInfo::loadConnectInfo(name);
        if (record && AppDelegate::mountPointOf(*record, record->username) == mountPoint)
            return name;
    }
    return mountPoint;
}

void printMount(const QJsonObject &mount, Console &console) {
    const auto line = [&console](const char *labelKey, const QString &value) {
        console.print(QStringLiteral("  %1: %2").arg(localizedText(labelKey), value));
    };
    console.print(mount[QStringLiteral("name")].toString());
    line("Cli_Status_MountPoint", mount[QStringLiteral("mountPoint")].toString());
    if (mount[QStringLiteral("state")] == kDead)
        return console.print(
            QStringLiteral("  ") +
            localizedText("Cli_Status_Dead", mount[QStringLiteral("name")].toString()));
    line("Cli_Status_Server", mount[QStringLiteral("server")].toString());
    line("Cli_Status_User", mount[QStringLiteral("user")].toString());
    const QDateTime since =
        QDateTime::fromString(mount[QStringLiteral("since")].toString(), Qt::ISODate);
    line("Cli_Status_Since", since.isValid() ? VDCommonUtils::getStringForShow(since)
                                             : localizedText("Cli_Status_Mounting"));
    const bool isUnmounting = mount[QStringLiteral("state")] == kUnmounting;
    const QJsonArray uploads = mount[QStringLiteral("uploads")].toArray();
    if (isUnmounting)
        console.print(QStringLiteral("  ") + localizedText(uploads.isEmpty()
                                                               ? "Cli_Status_Unmounting"
                                                               : "Cli_Status_UnmountingSends"));
    for (const auto &upload : uploads)
        line("Cli_Status_Uploading", uploadText(upload.toObject()));
    const QJsonValue size = mount[QStringLiteral("size")];
    if (size.isNull() && !isAnswering(mount))
        return;
    if (!mount[QStringLiteral("reachable")].toBool())
        return console.print(QStringLiteral("  ") + localizedText("Cli_Status_Unreachable"));
    line("Cli_Status_Space",
         size.isNull() ? localizedText("Cli_Status_NoAnswer")
                       : localizedText("Cli_Status_Sizes", sizeText(mount[QStringLiteral("used")]),
                                       sizeText(mount[QStringLiteral("free")]), sizeText(size)));
}

// The volumes that a crash left; a running instance cleared them when it started, and knows its
// own.
QJsonArray deadMounts(const QJsonArray &running) {
    QStringList alive;
    for (const auto &mount : running)
        alive += mount[QStringLiteral("mountPoint")].toString();
    QJsonArray result;
    const QStringList places = DeadMounts::find(alive);
    for (const QString &place : places) {
        QJsonObject mount{{QStringLiteral("name"), nameAt(place)},
                          {QStringLiteral("mountPoint"), place},
                          {QStringLiteral("state"), kDead},
                          {QStringLiteral("uploads"), QJsonArray()}};
        for (const char *unknown : {"server", "user", "since", "reachable", "size", "used", "free"})
            mount[QLatin1String(unknown)] = QJsonValue();
        result += mount;
    }
    return result;
}

bool printMessage(const QJsonObject &message, Console &console) {
    const QDateTime when =
        QDateTime::fromString(message[QStringLiteral("when")].toString(), Qt::ISODate);
    QStringList about{VDCommonUtils::getStringForShow(when),
                      message[QStringLiteral("volume")].toString()};
    about.removeAll(QString());
    console.print(localizedText("Cli_Status_Message", about.join(QStringLiteral(", ")),
                                message[QStringLiteral("text")].toString()));
    return true;
}

void printStatus(const QJsonArray &mounts, Console &console) {
    for (const auto &mount : mounts)
        printMount(mount.toObject(), console);
    if (mounts.isEmpty())
        console.print(localizedText("Cli_Status_Nothing"));
    UnseenMessages::show(
        [&console](const QJsonObject &message) { return printMessage(message, console); });
}

int status(const Invocation &invocation) {
    const bool isJson = invocation.has("json");
    const auto told = RunningMounts::status(invocation.interface);
    const QJsonObject known = told.value_or(QJsonObject());
    QJsonArray mounts = withSpace(known[QStringLiteral("mounts")].toArray());
    for (const auto &dead : deadMounts(mounts))
        mounts += dead;
    if (!isJson) {
        printStatus(mounts, invocation.console);
        return kDone;
    }
    const QJsonObject document{
        {QStringLiteral("running"), told.has_value()},
        {QStringLiteral("process"), told ? known[QStringLiteral("process")] : QJsonValue()},
        {QStringLiteral("mounts"), mounts},
        {QStringLiteral("messages"), UnseenMessages::all()},
    };
    invocation.console.print(
        QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented)).trimmed());
    return kDone;
}

}  // namespace

QList<Command> statusCommands() {
    return {
        {"status", "", 0, 0, "Cli_Command_Status", {{"json", nullptr, "Cli_Option_Json"}}, status}};
}
