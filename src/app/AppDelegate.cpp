// The start and the end of the application.

#include "app/AppDelegate.h"

#include <QTimer>

#include "app/StatusItem.h"
#include "cache/VirtualStoreControler.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/ConnectionRules.h"
#include "connection/LoginCheck.h"
#include "connection/SettingsWindow.h"
#include "connection/VDConnectionInfo.h"
#include "platform/system/CrashCapture.h"
#include "platform/system/DeadMounts.h"
#include "platform/system/LoginItems.h"
#include "platform/system/Preferences.h"
#include "platform/ui/VDModelessMessage.h"

using ConnectionRules::kConnectNames;

namespace {

const QString kOutput = QStringLiteral("OUTPUT");
const QString kLegacyName = QStringLiteral("Velmora");

void tellSavedCopies(const QList<SavedCopy> &copies) {
    for (const SavedCopy &copy : copies)
        VDModelessMessage::ShowMessageModeless(
            localizedText("VelmoraDisk_8", copy.path.normalized(QString::NormalizationForm_C),
                          copy.savedAs),
            QStringLiteral("Velmora Disk"));
}

}  // namespace

std::shared_ptr<AppDelegate> AppDelegate::create(const SystemProxySource &proxies,
                                                 ClientIdentitySource &identities) {
    const std::shared_ptr<AppDelegate> application(new AppDelegate(proxies, identities));
    application->subscription = GMUserFileSystem::subscribe(
        [weak = application->weak_from_this()](GMUserFileSystem::Notification notification,
                                               const GMUserFileSystem *sender,
                                               const std::optional<Error> &error) {
            VDCommonUtils::postToMainThread([weak, notification, sender, error] {
                if (const auto self = weak.lock())
                    self->hostChanged(sender, notification, error);
            });
        });
    return application;
}

AppDelegate::AppDelegate(const SystemProxySource &proxies, ClientIdentitySource &identities)
    : proxies(proxies), identities(identities) {}

AppDelegate::~AppDelegate() {
    GMUserFileSystem::unsubscribe(subscription);
}

void AppDelegate::applicationDidFinishLaunching() {
    const QList<SavedCopy> saved = VirtualStoreControler::removeDeadStores({});
    installUncaughtExceptionHandler();
    logSetup();
    tellSavedCopies(saved);
    const QStringList deadMounts = DeadMounts::find();
    for (const QString &mountPoint : deadMounts)
        DeadMounts::clear(mountPoint);
    pffsList.clear();
    fsList.clear();
    connectNames.setConnectNames({});
}

void AppDelegate::readAllDefault(const QString &chosenName) {
    const QStringList names = Preferences::standard().value(kConnectNames).toStringList();
    conInfoList.clear();
    const auto legacy = VDConnectionInfo::loadConnectInfo();
    if (legacy) {
        connectNames.addName(kLegacyName);
        conInfoList[kLegacyName] = legacy;
    }
    for (const QString &name : names) {
        const auto record = VDConnectionInfo::loadConnectInfo(name);
        if (!record)
            continue;
        connectNames.addName(record->connectionName);
        conInfoList[name] = record;
        if (record->isAutoMount.value_or(false) && name != chosenName)
            autoMount(*record);
    }
    if (legacy) {
        Preferences::standard().setValue(kConnectNames, connectNames.connectNames());
        Preferences::standard().synchronize(nullptr);
    }
}

QStringList AppDelegate::markedNames() {
    Preferences::standard().synchronize(nullptr);
    QStringList marked = Preferences::standard().value(kConnectNames).toStringList();
    marked.removeIf([](const QString &name) {
        const auto record = VDConnectionInfo::loadConnectInfo(name);
        return !record || !record->isAutoMount.value_or(false);
    });
    return marked;
}

void AppDelegate::mountMarked(const QStringList &names) {
    for (const QString &name : names) {
        reloadConnectInfo(name);
        const auto record = conInfoList.value(name);
        if (record && !record->isMount)
            autoMount(*record);
    }
}

// A connection that failed to mount by itself once is not tried again at every start.
void AppDelegate::autoMount(VDConnectionInfo &record) {
    if (isTerminating || connectVelmora(record.connectionName))
        return;
    if (isTerminating)
        return;
    record.isAutoMount = false;
    std::optional<Error> failure;
    record.saveConnectInfo(&failure);
    VDCommonUtils::showAlert(
        {.title = localizedText("Common_Title"),
         .text = localizedText("AppDelegate_68", record.connectionName),
         .informativeText = failure ? failure->userInfo[kOutput].toString() : QString(),
         .buttons = {localizedText("Common_Button_OK")}});
}

void AppDelegate::reloadConnectInfo(const QString &name) {
    const auto known = conInfoList.value(name);
    if (known && known->isMount)
        return;
    Preferences::standard().synchronize(nullptr);
    const auto record = VDConnectionInfo::loadConnectInfo(name);
    if (!record) {
        conInfoList.remove(name);
        return;
    }
    // The chosen identity is never stored.
    if (known && record->isUseCert.value_or(false))
        record->certArr = known->certArr;
    conInfoList[name] = record;
}

void AppDelegate::applicationShouldTerminate(std::function<void()> ended) {
    if (isTerminating)
        return;
    isTerminating = true;
    terminated = std::move(ended);
    cancelLogins();
    const QStringList names = fsList.keys();
    for (const QString &name : names)
        unmountVelmora(name, GMUserFileSystem::UnmountMode::kForce, {});
    endTermination();
}

void AppDelegate::endTermination() {
    if (!isTerminating || !hosts.isEmpty() || !terminated)
        return;
    pffsList.clear();
    fsList.clear();
    tellSavedCopies(VirtualStoreControler::removeDeadStores({}));
    std::exchange(terminated, {})();
}
