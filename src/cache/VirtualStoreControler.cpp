#include "cache/VirtualStoreControler.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include "cache/CachePaths.h"
#include "common/VDCommonUtils.h"

namespace {

// Guards the list below and every making and removing of a tree: a folder that leads to one must
// not go while another one is being made in it.
std::mutex storesMutex;
QStringList rootsInUse;

// Files that one mount is writing must not go because another one is tried at the same place.
bool touchesOneInUse(const QString &root) {
    return std::any_of(rootsInUse.cbegin(), rootsInUse.cend(), [&](const QString &used) {
        return VDCommonUtils::isEqualPathOrSubPath(used, root) ||
               VDCommonUtils::isSubPath(root, used);
    });
}

// Without the components that lead elsewhere: no path of a mount may leave its store.
QString withoutDots(const QString &path) {
    if (!path.contains(QLatin1String("..")) && !path.contains(QLatin1String("/.")))
        return path;
    QStringList parts = path.split(QLatin1Char('/'));
    parts.removeAll(QStringLiteral("."));
    parts.removeAll(QStringLiteral(".."));
    return parts.join(QLatin1Char('/'));
}

void removeWhatIsAt(const QString &path) {
    const QFileInfo info(path);
    // A link is only unlinked: what it points to isn't ours.
    if (info.isDir() && !info.isSymLink())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

// A full disk or a read-only home isn't cured by another name; those are tried without haste.
void pauseBeforeAttempt(int attempt) {
    if (attempt > 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

}  // namespace

VirtualStoreControler::VirtualStoreControler(const QString &mountPath) {
    QString below = withoutDots(mountPath);
    while (below.endsWith(QLatin1Char('/')))
        below.chop(1);
    const QString store = QDir::homePath() + QStringLiteral("/.VelmoraDisk_Store");
    root = store + below;
    for (int number = 0;; ++number) {
        if (makeStore())
            return;
        root = QStringLiteral("%1_%2%3").arg(store).arg(number).arg(below);
        pauseBeforeAttempt(number);
    }
}

VirtualStoreControler::~VirtualStoreControler() {
    const std::lock_guard lock(storesMutex);
    if (holdsRoot)
        rootsInUse.removeOne(root);
}

bool VirtualStoreControler::makeStore() {
    const std::lock_guard lock(storesMutex);
    if (touchesOneInUse(root))
        return false;
    removeWhatIsAt(root);
    if (!makePrivateFolder(root))
        return false;
    rootsInUse.append(root);
    holdsRoot = true;
    return true;
}

void VirtualStoreControler::removeStore() {
    const std::lock_guard lock(storesMutex);
    if (!holdsRoot)
        return;
    holdsRoot = false;
    rootsInUse.removeOne(root);
    QDir(root).removeRecursively();
    const QString home = QDir::homePath();
    QString folder = QFileInfo(root).path();
    while (folder.size() > home.size() && QDir().rmdir(folder))
        folder = QFileInfo(folder).path();
}

QString VirtualStoreControler::getVirtualPath(const QString &path) const {
    QString rest = withoutDots(cacheKey(path));
    if (rest == QLatin1String("/"))
        return root;
    while (rest.endsWith(QLatin1Char('/')))
        rest.chop(1);
    while (rest.startsWith(QLatin1Char('/')))
        rest.remove(0, 1);
    return root + QLatin1Char('/') + rest;
}

bool VirtualStoreControler::isVirtualPath(const QString &path) const {
    if (!enable)
        return false;
    const QStringList parts = path.split(QLatin1Char('/'));
    if (parts.size() < 2)
        return false;
    const std::lock_guard lock(syncRoot);
    return topFolders.contains(parts.at(1));
}
