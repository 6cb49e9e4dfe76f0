#include "cache/VirtualStoreControler.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QStorageInfo>
#include <QStringList>

#include "cache/CachePaths.h"
#include "cache/UnsentFiles.h"
#include "common/VDCommonUtils.h"
#include "platform/system/FileLock.h"

struct VirtualStoreControler::TopLock {
    explicit TopLock(const QString &top) : lock(top + QStringLiteral(".lock")) {}
    ~TopLock() { lock.removeFile(); }

    FileLock lock;
};

namespace {

const QString kTopName = QStringLiteral(".VelmoraDisk_Store");
constexpr qsizetype kLongestName = 255;  // bytes of a name on a local file system

// Guards the list below, the locks and every making and removing of a tree: a folder that leads to
// one must not go while another one is being made in it.
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

// A decomposed name can be more than twice as long; where that is too long for the local disk, its
// composed form names the copy.
QString fittingNames(const QString &path) {
    if (QFile::encodeName(path).size() <= kLongestName)
        return path;
    QStringList names = path.split(QLatin1Char('/'));
    for (QString &name : names) {
        if (QFile::encodeName(name).size() > kLongestName)
            name = name.normalized(QString::NormalizationForm_C);
    }
    return names.join(QLatin1Char('/'));
}

void removeWhatIsAt(const QString &path) {
    const QFileInfo info(path);
    // A link is only unlinked: what it points to isn't ours.
    if (info.isDir() && !info.isSymLink())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

// Of a mount point in each of the folders of trees.
QString placeOf(const QString &mountPath) {
    QString place = withoutDots(mountPath);
    while (place.endsWith(QLatin1Char('/')))
        place.chop(1);
    return place;
}

QString cachePathOf(const QString &tree) {
    return tree + QStringLiteral(".VelmoraDiskcache");
}

QStringList unsentBelow(const QString &tree) {
    QStringList found;
    if (QFileInfo(tree).isSymLink())
        return found;
    QDirIterator files(tree, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        if (UnsentFiles::isMarked(path) && files.fileInfo().size() > 0)
            found += path;
    }
    return found;
}

void removeFoldersLeadingTo(const QString &tree) {
    const QString home = QDir::homePath();
    QString folder = QFileInfo(tree).path();
    while (folder.size() > home.size() && QDir().rmdir(folder))
        folder = QFileInfo(folder).path();
}

// A full disk or a read-only home isn't cured by another name; those are tried without haste.
void pauseBeforeAttempt(int attempt) {
    if (attempt > 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

}  // namespace

VirtualStoreControler::VirtualStoreControler(const QString &mountPath) {
    const QString below = placeOf(mountPath);
    savedCopies = removeDeadStores(mountPath);
    const QString top = QDir::homePath() + QLatin1Char('/') + kTopName;
    bool isMade = makeStore(top, below);
    for (int number = 0; !isMade; ++number) {
        pauseBeforeAttempt(number);
        isMade = makeStore(QStringLiteral("%1_%2").arg(top).arg(number), below);
    }
}

VirtualStoreControler::~VirtualStoreControler() {
    const std::lock_guard lock(storesMutex);
    if (topLock)
        rootsInUse.removeOne(root);
    topLock.reset();
}

// Null while another process has its trees there: what lies there is alive.
std::shared_ptr<VirtualStoreControler::TopLock> VirtualStoreControler::lockTop(const QString &top) {
    static QHash<QString, std::weak_ptr<TopLock>> locks;
    if (auto held = locks.value(top).lock())
        return held;
    auto lock = std::make_shared<TopLock>(top);
    if (lock->lock.take(0) != 0)
        return nullptr;
    locks.insert(top, lock);
    return lock;
}

QList<SavedCopy> VirtualStoreControler::removeDeadStores(const QString &mountPath) {
    const std::lock_guard lock(storesMutex);
    QList<SavedCopy> saved;
    const QDir home(QDir::homePath());
    const QStringList names =
        home.entryList({kTopName, kTopName + QStringLiteral("_*")}, QDir::Dirs | QDir::Hidden);
    for (const QString &name : names) {
        const QString top = home.filePath(name);
        const QString tree = top + placeOf(mountPath);
        if (!QFileInfo(tree).isDir() || touchesOneInUse(tree))
            continue;
        const auto held = lockTop(top);
        if (held && saveAndRemove(tree, saved))
            removeFoldersLeadingTo(tree);
    }
    return saved;
}

bool VirtualStoreControler::makeStore(const QString &top, const QString &below) {
    const std::lock_guard lock(storesMutex);
    const QString tree = top + below;
    if (touchesOneInUse(tree))
        return false;
    auto held = lockTop(top);
    if (!held || !unsentBelow(tree).isEmpty())
        return false;
    removeWhatIsAt(tree);
    if (!makePrivateFolder(tree))
        return false;
    rootsInUse.append(tree);
    root = tree;
    topLock = std::move(held);
    return true;
}

// False where a copy couldn't be saved, and the tree stays.
bool VirtualStoreControler::saveAndRemove(const QString &tree, QList<SavedCopy> &saved) {
    bool isSafe = true;
    const QStringList unsent = unsentBelow(tree);
    for (const QString &copy : unsent) {
        const auto place = UnsentFiles::saveAtHome(copy, copy);
        isSafe = isSafe && place;
        saved += SavedCopy{copy.mid(tree.size()), place.value_or(copy)};
    }
    if (!isSafe)
        return false;
    removeWhatIsAt(tree);
    QFile::remove(cachePathOf(tree));
    return true;
}

void VirtualStoreControler::removeStore() {
    const std::lock_guard lock(storesMutex);
    if (!topLock)
        return;
    rootsInUse.removeOne(root);
    if (saveAndRemove(root, savedCopies))
        removeFoldersLeadingTo(root);
    topLock.reset();
}

QList<SavedCopy> VirtualStoreControler::takeSavedCopies() {
    const std::lock_guard lock(storesMutex);
    return std::exchange(savedCopies, {});
}

QString VirtualStoreControler::contentCachePath() const {
    return cachePathOf(root);
}

QString VirtualStoreControler::getVirtualPath(const QString &path) const {
    QString rest = withoutDots(cacheKey(path));
    if (rest == QLatin1String("/"))
        return root;
    while (rest.endsWith(QLatin1Char('/')))
        rest.chop(1);
    while (rest.startsWith(QLatin1Char('/')))
        rest.remove(0, 1);
    return root + QLatin1Char('/') + fittingNames(rest);
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

bool VirtualStoreControler::isTight() const {
    constexpr int kTightPercent = 10;
    const QStorageInfo disk(root);
    return disk.isValid() && disk.bytesAvailable() < disk.bytesTotal() / 100 * kTightPercent;
}

bool VirtualStoreControler::dropSentCopies(const QString &except) const {
    bool wereThere = false;
    QDirIterator files(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        if (path != except && !UnsentFiles::isMarked(path))
            wereThere = QFile::remove(path) || wereThere;
    }
    return wereThere;
}
