// The life of a mount: what the volume owns, and how it comes and goes.

#include "fs/VelmoraDisk.h"

#include <QCryptographicHash>
#include <QDir>

#include "cache/AccessControler.h"
#include "cache/CacheController.h"
#include "cache/FileSystemInfoCache.h"
#include "cache/MetaDataCache.h"
#include "cache/VirtualStoreControler.h"
#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "lock/VDLockController.h"
#include "platform/system/FavoritesList.h"
#include "platform/system/SingleInstance.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/VDModelessMessage.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// Not beside the store: that is deleted at the next start, and may then get another name.
QString journalFolder(const QString &mountPath) {
    SingleInstance::makeFolder();
    const QByteArray place =
        QCryptographicHash::hash(mountPath.toUtf8(), QCryptographicHash::Md5).toHex();
    return SingleInstance::folder() + QStringLiteral("/locks-") + QString::fromLatin1(place);
}

}  // namespace

VelmoraDisk::VelmoraDisk(std::shared_ptr<VDWebDAVConnect> connect,
                         std::weak_ptr<MountOwner> startupmenu, const QString &mountPath,
                         const QString &connectionName)
    : VelmoraDisk(std::move(connect), std::move(startupmenu), mountPath, connectionName,
                  LockTiming::ofThisComputer()) {}

VelmoraDisk::VelmoraDisk(std::shared_ptr<VDWebDAVConnect> connect,
                         std::weak_ptr<MountOwner> startupmenu, const QString &mountPath,
                         const QString &connectionName, const LockTiming &lockTiming)
    : connectionName(connectionName),
      DAVConnection(std::move(connect)),
      startupmenu(std::move(startupmenu)),
      metaDataCache(std::make_shared<MetaDataCache>()),
      virtualStoreCtl(std::make_unique<VirtualStoreControler>(mountPath)),
      sysInfoCache(std::make_unique<FileSystemInfoCache>()),
      accessCol(std::make_unique<AccessControler>()),
      lockCtr(std::make_shared<VDLockController>(DAVConnection, mountPath, connectionName,
                                                 lockTiming, journalFolder(mountPath))),
      cacheCtr(
          std::make_unique<CacheController>(DAVConnection, virtualStoreCtl->contentCachePath())),
      currentMountPath(mountPath) {
    cacheCtr->setMetadataCache(metaDataCache);
}

VelmoraDisk::~VelmoraDisk() {
    removeSidebarEntry();
    GMUserFileSystem::unsubscribe(mountSubscription);
    GMUserFileSystem::unsubscribe(unmountSubscription);
    metaDataCache->dispose();
    lockCtr->dispose();
}

QString VelmoraDisk::mountPath() const {
    const std::lock_guard lock(mountMutex);
    return currentMountPath;
}

void VelmoraDisk::willMount() {
    const std::lock_guard lock(mountMutex);
    mountSubscription = GMUserFileSystem::subscribe(
        [self = weak_from_this()](GMUserFileSystem::Notification notification,
                                  const GMUserFileSystem *sender, const std::optional<Error> &) {
            const auto disk = self.lock();
            // Another mount's failure must not take this volume's store away.
            if (!disk || !sender->serves(disk.get()))
                return;
            if (notification == GMUserFileSystem::Notification::kGMUserFileSystemMountFailed)
                disk->mountError();
            if (notification == GMUserFileSystem::Notification::kGMUserFileSystemDidMount)
                disk->didMount();
        });
}

void VelmoraDisk::willUnmount() {
    const std::lock_guard lock(mountMutex);
    unmountSubscription = GMUserFileSystem::subscribe(
        [self = weak_from_this()](GMUserFileSystem::Notification notification,
                                  const GMUserFileSystem *sender, const std::optional<Error> &) {
            const auto disk = self.lock();
            if (disk && sender->serves(disk.get()) &&
                notification == GMUserFileSystem::Notification::kGMUserFileSystemDidUnmount)
                disk->didUnmount();
        });
}

void VelmoraDisk::didMount() {
    const QString path = mountPath();
    VDCommonUtils::postToMainThread([path] { UserInterface::current().openFolder(path); });
    unsubscribe(&mountSubscription);
    tellSavedCopies();
    if (const auto favorites = FavoritesList::current()) {
        const QString item = favorites->insertItem(connectionName, path);
        const std::lock_guard lock(mountMutex);
        finderSideItem = item;
    }
}

void VelmoraDisk::mountError() {
    disposeMount();
    if (const auto owner = startupmenu.lock())
        owner->umount(connectionName);
    unsubscribe(&mountSubscription);
}

void VelmoraDisk::didUnmount() {
    removeSidebarEntry();
    disposeMount();
    {
        const std::lock_guard lock(mountMutex);
        currentMountPath = QStringLiteral("");
    }
    if (const auto owner = startupmenu.lock())
        owner->umount(connectionName);
    unsubscribe(&unmountSubscription);
}

void VelmoraDisk::stopReading() {
    DAVConnection->stopReading();
}

void VelmoraDisk::disposeMount() {
    metaDataCache->dispose();
    lockCtr->dispose();
    cacheCtr->disposeCache();
    virtualStoreCtl->removeStore();
    tellSavedCopies();
}

void VelmoraDisk::tellSavedCopies() {
    const QString place = mountPath();
    const QList<SavedCopy> copies = virtualStoreCtl->takeSavedCopies();
    for (const SavedCopy &copy : copies) {
        const QString path =
            QDir::cleanPath(place + copy.path).normalized(QString::NormalizationForm_C);
        VDModelessMessage::ShowMessageModeless(localizedText("VelmoraDisk_8", path, copy.savedAs),
                                               QStringLiteral("Velmora Disk"), connectionName);
    }
}

void VelmoraDisk::removeSidebarEntry() {
    QString item;
    {
        const std::lock_guard lock(mountMutex);
        std::swap(item, finderSideItem);
    }
    if (item.isNull())
        return;
    if (const auto favorites = FavoritesList::current())
        favorites->removeItem(item);
}

void VelmoraDisk::unsubscribe(int *subscription) {
    int number = 0;
    {
        const std::lock_guard lock(mountMutex);
        std::swap(number, *subscription);
    }
    GMUserFileSystem::unsubscribe(number);
}
