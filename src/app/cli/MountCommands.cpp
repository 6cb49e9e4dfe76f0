// mount and unmount.

#include <QJsonArray>
#include <QTimer>

#include "app/AppDelegate.h"
#include "app/MountService.h"
#include "app/ServiceClient.h"
#include "app/UnseenMessages.h"
#include "app/cli/Command.h"
#include "app/cli/Credentials.h"
#include "cache/VirtualStoreControler.h"
#include "common/Text.h"
#include "connection/ConnectionUrl.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDConnectionInfo.h"
#include "connection/VDSSLCertificate.h"
#include "platform/system/DeadMounts.h"

namespace {

// A volume in use is refused after a good second, which isn't to be explained as sending.
constexpr int kUnexplainedWait = 2000;  // milliseconds

bool isUrl(const QString &text) {
    return text.contains(QStringLiteral("://"));
}

std::shared_ptr<VDConnectionInfo> savedRecord(const QString &name) {
    const auto record = VDConnectionInfo::loadConnectInfo(name);
    return record
               ? record
               : VDConnectionInfo::loadConnectInfo(name.normalized(QString::NormalizationForm_C));
}

// Whether a login is tried before the server is asked which it wants.
bool hasLogin(const Invocation &invocation) {
    const QString target = invocation.arguments.value(0);
    const auto record = isUrl(target) ? nullptr : savedRecord(target);
    return (invocation.has("user") || (record && !record->username.isEmpty())) &&
           (invocation.has("password-stdin") || (record && !record->password.isEmpty()));
}

// What is to be mounted, as the instance wants to be told; the exit code where that is known
// already.
std::optional<int> describeTarget(const Invocation &invocation, QJsonObject *request) {
    const QString target = invocation.arguments.value(0);
    if (invocation.has("auto") && !invocation.arguments.isEmpty())
        return invocation.refuse(localizedText("Cli_AutoAlone"));
    if (!invocation.readSettings() && !isUrl(target))
        return kFailed;
    if (target.isEmpty())
        return invocation.has("auto")
                   ? std::nullopt
                   : std::optional(invocation.refuse(localizedText("Cli_TargetMissing")));
    if (!isUrl(target) && invocation.has("name"))
        return invocation.refuse(localizedText("Cli_NameNeedsUrl"));
    if (!isUrl(target)) {
        (*request)[QStringLiteral("name")] = target;
        return savedRecord(target)
                   ? std::nullopt
                   : std::optional(invocation.fail(localizedText("Cli_NoConnection", target)));
    }
    if (const char *problem = ConnectionUrl::problemOf(target))
        return invocation.refuse(localizedText(problem));
    const QString url = ConnectionUrl::readableUrl(target);
    const QString name =
        invocation.has("name") ? invocation.value("name") : ConnectionUrl::nameFor(url);
    if (name.isEmpty() || name.contains(QLatin1Char('/')))
        return invocation.refuse(localizedText("AppDelegate_57"));
    (*request)[QStringLiteral("url")] = url;
    (*request)[QStringLiteral("name")] = name.normalized(QString::NormalizationForm_C);
    (*request)[QStringLiteral("isNameChosen")] = invocation.has("name");
    return std::nullopt;
}

std::optional<int> describeMount(const Invocation &invocation, QJsonObject *request) {
    (*request)[QStringLiteral("command")] = QStringLiteral("mount");
    if (const auto code = describeTarget(invocation, request))
        return code;
    if (invocation.has("user"))
        (*request)[QStringLiteral("username")] = invocation.value("user");
    if (const char *problem = mountPointProblem(invocation))
        return invocation.refuse(localizedText(problem));
    if (invocation.has("mount-point"))
        (*request)[QStringLiteral("mountPoint")] = absolutePath(invocation.value("mount-point"));
    if (invocation.has("accept-certificate"))
        (*request)[QStringLiteral("acceptCertificate")] = true;
    if (hasLogin(invocation))
        invocation.interface.noteGivenLogin();
    if (!invocation.has("password-stdin"))
        return std::nullopt;
    const auto password = newPassword(invocation, "password-stdin", "Cli_PromptPassword");
    if (!password)
        return kFailed;
    (*request)[QStringLiteral("password")] = *password;
    return std::nullopt;
}

// What nobody has seen of a volume, or of no volume in particular where those are wanted too. The
// texts that it told.
QStringList tellUnseen(const Invocation &invocation, const QString &volume, bool alsoOfNone) {
    QStringList told;
    UnseenMessages::show([&](const QJsonObject &message) {
        const QString about = message[QStringLiteral("volume")].toString();
        const bool isWanted = about.isEmpty() ? alsoOfNone
                                              : about.normalized(QString::NormalizationForm_C) ==
                                                    volume.normalized(QString::NormalizationForm_C);
        const QString text = message[QStringLiteral("text")].toString();
        if (!isWanted || !invocation.console.complain(text))
            return false;
        told += text;
        return true;
    });
    return told;
}

// `messages` came while the volume ended: the server doesn't have everything.
int tellEnd(const Invocation &invocation, const QString &volume, const QJsonArray &messages) {
    const QStringList told = tellUnseen(invocation, volume, false);
    for (const auto &message : messages) {
        if (!told.contains(message.toString()))
            invocation.console.complain(message.toString());
    }
    return messages.isEmpty() ? kDone : kFailed;
}

// Tells the person how the mount went.
int report(const Invocation &invocation, const QJsonObject &result) {
    const QJsonArray mounted = result[QStringLiteral("mounted")].toArray();
    for (const auto &each : mounted)
        invocation.console.print(localizedText("Cli_Mounted",
                                               each[QStringLiteral("name")].toString(),
                                               each[QStringLiteral("mountPoint")].toString()));
    for (const auto &each : mounted)
        tellUnseen(invocation, each[QStringLiteral("name")].toString(), true);
    if (!result[QStringLiteral("ok")].toBool())
        return invocation.failTold(result[QStringLiteral("message")].toString());
    if (mounted.isEmpty())
        invocation.console.print(localizedText(result[QStringLiteral("marked")].toInt() > 0
                                                   ? "Cli_MarkedAreMounted"
                                                   : "Cli_NoneMarked"));
    return kDone;
}

int stay(ServiceClient &client, const Invocation &invocation, const QString &name) {
    return tellEnd(invocation, name, client.stay(name));
}

int mountThrough(ServiceClient &client, const Invocation &invocation, const QJsonObject &request) {
    const auto result = client.request(request);
    if (!result)
        return invocation.fail(localizedText("Cli_ServiceEnded"));
    const int code = report(invocation, *result);
    const QJsonArray mounted = result->value(QStringLiteral("mounted")).toArray();
    if (code == kDone && request[QStringLiteral("stay")].toBool() && !mounted.isEmpty())
        return stay(client, invocation, mounted.last()[QStringLiteral("name")].toString());
    return code;
}

int mountInBackground(const Invocation &invocation, const QJsonObject &request) {
    ServiceClient client(invocation.interface);
    const QString problem = client.reach();
    return problem.isEmpty() ? mountThrough(client, invocation, request) : invocation.fail(problem);
}

// This process is the instance, unless there is one already, which then does the work.
int mountInForeground(const Invocation &invocation, QJsonObject request) {
    using ServiceLauncher::Answer;
    const VDAutoProxySetting proxies;
    VDSSLCertificate identities;
    MountService service(proxies, identities, &invocation.interface);
    const ServiceLauncher::Launch launch = service.begin();
    if (launch.answer == Answer::Failed)
        return invocation.fail(localizedText("Cli_ServiceFailed", launch.reason));
    if (launch.answer == Answer::HeldByAnother) {
        request[QStringLiteral("stay")] = true;
        return mountInBackground(invocation, request);
    }
    int code = kFailed;
    service.submit(request, [&](const QJsonObject &result) { code = report(invocation, result); });
    service.run();
    return service.hasToldAtEnd() ? kFailed : code;
}

int mount(const Invocation &invocation) {
    QJsonObject request;
    if (const auto code = describeMount(invocation, &request))
        return *code;
    return invocation.has("foreground") ? mountInForeground(invocation, request)
                                        : mountInBackground(invocation, request);
}

// A volume that a crash left, by its mount point or by its connection's name.
bool clearDeadMount(const QString &target) {
    const QStringList dead = DeadMounts::find();
    const auto record = VDConnectionInfo::loadConnectInfo(target);
    QStringList places{
        target, QStringLiteral("/Volumes/") + target.normalized(QString::NormalizationForm_C)};
    if (record)
        places += AppDelegate::mountPointOf(*record, record->username);
    for (const QString &place : places) {
        if (dead.contains(place))
            return DeadMounts::clear(place);
    }
    return false;
}

int unmountDead(const Invocation &invocation, const QString &target) {
    if (!clearDeadMount(target))
        return invocation.fail(localizedText("Cli_NotMounted", invocation.arguments[0]));
    const QList<SavedCopy> copies = VirtualStoreControler::removeDeadStores({});
    for (const SavedCopy &copy : copies) {
        const QString text = localizedText(
            "VelmoraDisk_8", copy.path.normalized(QString::NormalizationForm_C), copy.savedAs);
        if (!invocation.console.complain(text))
            UnseenMessages::add(text, {});
    }
    return copies.isEmpty() ? kDone : kFailed;
}

int unmount(const Invocation &invocation) {
    const QString typed = invocation.arguments[0];
    const QString target = typed.contains(QLatin1Char('/')) ? absolutePath(typed) : typed;
    ServiceClient client(invocation.interface);
    if (!client.reachRunning())
        return unmountDead(invocation, target);
    QTimer explanation;
    explanation.setSingleShot(true);
    QObject::connect(&explanation, &QTimer::timeout, &explanation,
                     [&] { invocation.console.complain(localizedText("Cli_Unmounting", typed)); });
    explanation.start(kUnexplainedWait);
    const auto result = client.request({{QStringLiteral("command"), QStringLiteral("unmount")},
                                        {QStringLiteral("target"), target},
                                        {QStringLiteral("force"), invocation.has("force")}});
    if (!result)
        return invocation.fail(localizedText("Cli_ServiceEnded"));
    explanation.stop();
    if (!result->value(QStringLiteral("ok")).toBool())
        return invocation.fail(result->value(QStringLiteral("message")).toString());
    return tellEnd(invocation, result->value(QStringLiteral("name")).toString(),
                   result->value(QStringLiteral("messages")).toArray());
}

}  // namespace

QList<Command> mountCommands() {
    return {
        {"mount",
         "NAME|URL",
         0,
         1,
         "Cli_Command_Mount",
         {{"name", "NAME", "Cli_Option_Name"},
          {"mount-point", "FOLDER", "Cli_Option_MountPointOnce"},
          {"user", "USER", "Cli_Option_UserOnce"},
          {"password-stdin", nullptr, "Cli_Option_PasswordStdinOnce"},
          {"accept-certificate", nullptr, "Cli_Option_AcceptCertificate"},
          {"auto", nullptr, "Cli_Option_Auto"},
          {"foreground", nullptr, "Cli_Option_Foreground"}},
         mount},
        {"unmount",
         "NAME|MOUNTPOINT",
         1,
         1,
         "Cli_Command_Unmount",
         {{"force", nullptr, "Cli_Option_Force"}},
         unmount},
    };
}
