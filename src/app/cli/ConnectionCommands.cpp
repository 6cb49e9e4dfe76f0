// connection add, list, show, edit, remove: the saved connections.

#include <cerrno>

#include <QCommandLineParser>
#include <QJsonDocument>

#include "app/AppDelegate.h"
#include "app/ServiceClient.h"
#include "app/cli/Command.h"
#include "app/cli/ConnectionFields.h"
#include "app/cli/RunningMounts.h"
#include "common/Text.h"
#include "connection/ConnectionRules.h"
#include "connection/VDConnectionInfo.h"
#include "platform/system/FileLock.h"
#include "platform/system/SingleInstance.h"

namespace {

constexpr int kLockWaitMs = 5000;

using ConnectionRules::kConnectNames;
using ConnectionRules::nameProblem;
using RecordPtr = std::shared_ptr<VDConnectionInfo>;

// The settings for the length of a command: two that change the list of names must not both start
// from the same one.
class Settings {
  public:
    enum class Use { kReading, kChange };

    Settings(const Invocation &invocation, Use use)
        : lock(SingleInstance::folder() + QStringLiteral("/settings.lock")),
          invocation(invocation) {
        isReady = (use == Use::kReading || takeLock()) && invocation.readSettings();
    }

    // False where nothing may be done with them; the person was told.
    bool isReady = false;

    QStringList names() const {
        return Preferences::standard().value(kConnectNames).toStringList();
    }
    RecordPtr record(const QString &name) const { return VDConnectionInfo::loadConnectInfo(name); }
    // The name as it was saved, of one typed in another canonical form; null where there is none.
    QString savedName(const QString &typed) const {
        for (const QString &name : names()) {
            if (ConnectionRules::isSameName(name, typed))
                return name;
        }
        return VDConnectionInfo::loadConnectInfo(typed) ? typed : QString();
    }

    // Each tells the person of a failure and returns whether the change is saved.
    bool save(const VDConnectionInfo &record, const QStringList &names) {
        std::optional<Error> error;
        Preferences::standard().setValue(kConnectNames, names);
        return told(record.saveConnectInfo(&error), error);
    }
    bool remove(const QString &name, const QStringList &names) {
        std::optional<Error> error;
        Preferences::standard().setValue(kConnectNames, names);
        return told(VDConnectionInfo::deleteConnectInfo(name, &error), error);
    }

  private:
    // Another command may hold them for as long as it asks for a password.
    bool takeLock() {
        SingleInstance::makeFolder();
        const bool isBusy = lock.take(kLockWaitMs) == EBUSY;
        if (isBusy)
            invocation.console.complain(localizedText("Cli_SettingsBusy"));
        return !isBusy;
    }
    bool told(bool ok, const std::optional<Error> &error) {
        invocation.tellProblem(error);
        return ok;
    }

    FileLock lock;
    const Invocation &invocation;
};

// Whether another connection's mount point is the record's, or one lies under the other.
bool hasMountPointClash(const Settings &settings, const VDConnectionInfo &record,
                        const QString &currentName) {
    for (const QString &name : settings.names()) {
        const RecordPtr other = name == currentName ? nullptr : settings.record(name);
        if (other && ConnectionRules::doPlacesClash(record, *other))
            return true;
    }
    return false;
}

int add(const Invocation &invocation) {
    const QString name = invocation.arguments[0].normalized(QString::NormalizationForm_C);
    if (const char *problem = nameProblem(name))
        return invocation.refuse(localizedText(problem));
    if (!invocation.has("url"))
        return invocation.refuse(localizedText("Cli_UrlMissing"));
    VDConnectionInfo record;
    record.connectionName = name;
    if (const auto code = ConnectionFields::apply(invocation, record))
        return *code;
    Settings settings(invocation, Settings::Use::kChange);
    if (!settings.isReady)
        return kFailed;
    if (!settings.savedName(name).isNull())
        return invocation.fail(localizedText("AppDelegate_54"));
    if (hasMountPointClash(settings, record, name))
        return invocation.fail(localizedText("AppDelegate_55"));
    return settings.save(record, settings.names() << name) ? kDone : kFailed;
}

int list(const Invocation &invocation) {
    const Settings settings(invocation, Settings::Use::kReading);
    if (!settings.isReady)
        return kFailed;
    for (const QString &name : settings.names()) {
        if (const RecordPtr record = settings.record(name))
            invocation.console.print(QStringLiteral("%1\t%2").arg(name, record->RemoteURL));
    }
    return kDone;
}

int show(const Invocation &invocation) {
    const Settings settings(invocation, Settings::Use::kReading);
    if (!settings.isReady)
        return kFailed;
    const QString name = settings.savedName(invocation.arguments[0]);
    const RecordPtr record = name.isNull() ? nullptr : settings.record(name);
    if (!record)
        return invocation.fail(localizedText("Cli_NoConnection", invocation.arguments[0]));
    record->isMount = RunningMounts::isMounted(name, invocation.interface);
    if (invocation.has("json")) {
        const QJsonDocument document(ConnectionFields::toJson(*record));
        invocation.console.print(
            QString::fromUtf8(document.toJson(QJsonDocument::Indented)).trimmed());
        return kDone;
    }
    for (const QString &line : ConnectionFields::toLines(*record))
        invocation.console.print(line);
    return kDone;
}

int edit(const Invocation &invocation) {
    if (invocation.options.optionNames().isEmpty())
        return invocation.refuse(localizedText("Cli_NothingToEdit"));
    Settings settings(invocation, Settings::Use::kChange);
    if (!settings.isReady)
        return kFailed;
    const QString name = settings.savedName(invocation.arguments[0]);
    const RecordPtr record = name.isNull() ? nullptr : settings.record(name);
    if (!record)
        return invocation.fail(localizedText("Cli_NoConnection", invocation.arguments[0]));
    if (RunningMounts::isMounted(name, invocation.interface))
        return invocation.fail(localizedText("Cli_MountedNoEdit", name));
    if (invocation.has("rename"))
        record->connectionName =
            invocation.value("rename").normalized(QString::NormalizationForm_C);
    if (const char *problem = nameProblem(record->connectionName))
        return invocation.refuse(localizedText(problem));
    if (const auto code = ConnectionFields::apply(invocation, *record))
        return *code;
    const bool isRenamed = record->connectionName != name;
    if (isRenamed && !settings.savedName(record->connectionName).isNull())
        return invocation.fail(localizedText("AppDelegate_54"));
    if (hasMountPointClash(settings, *record, name))
        return invocation.fail(localizedText("AppDelegate_55"));
    QStringList names = settings.names();
    const qsizetype index = names.indexOf(name);
    if (index < 0)
        names += record->connectionName;
    else
        names[index] = record->connectionName;
    if (!settings.save(*record, names))
        return kFailed;
    return !isRenamed || settings.remove(name, names) ? kDone : kFailed;
}

int removeConnection(const Invocation &invocation) {
    Settings settings(invocation, Settings::Use::kChange);
    if (!settings.isReady)
        return kFailed;
    const QString name = settings.savedName(invocation.arguments[0]);
    if (name.isNull())
        return invocation.fail(localizedText("Cli_NoConnection", invocation.arguments[0]));
    if (RunningMounts::isMounted(name, invocation.interface))
        return invocation.fail(localizedText("AppDelegate_61"));
    QStringList names = settings.names();
    names.removeAll(name);
    return settings.remove(name, names) ? kDone : kFailed;
}

}  // namespace

QList<Command> connectionCommands() {
    const QList<CommandOption> fields = ConnectionFields::options();
    return {
        {"connection add", "NAME", 1, 1, "Cli_Command_Add", fields, add},
        {"connection list", "", 0, 0, "Cli_Command_List", {}, list},
        {"connection show",
         "NAME",
         1,
         1,
         "Cli_Command_Show",
         {{"json", nullptr, "Cli_Option_Json"}},
         show},
        {"connection edit", "NAME", 1, 1, "Cli_Command_Edit",
         fields + QList<CommandOption>{{"rename", "NAME", "Cli_Option_Rename"}}, edit},
        {"connection remove", "NAME", 1, 1, "Cli_Command_Remove", {}, removeConnection},
    };
}
