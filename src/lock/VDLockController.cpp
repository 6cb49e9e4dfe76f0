#include "lock/VDLockController.h"

#include <algorithm>
#include <time.h>
#include <utility>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "platform/net/RunLoop.h"
#include "webdav/LockDiscovery.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kRequestedTimeout = 300;  // seconds
constexpr int kNoAnswer = 0;
constexpr int kNoLockOfOurs = 5;

int posixCodeOf(const Error &error) {
    static const QMap<int, int> codes = {
        {3, EBUSY},   {5, EBUSY},   {6, ENOENT},  {7, EACCES},
        {11, EACCES}, {12, EACCES}, {10, ENOSPC}, {18, EINVAL},
    };
    return codes.value(error.code, EACCES);
}

// With these the server doesn't hold the lock any more, or never lets go of it for us.
bool endsUnlocking(const Error &error) {
    static const QSet<int> codes = {3, 5, 6, 7, 11, 12};
    return codes.contains(error.code);
}

// The server was in trouble when it was asked to release the lock.
bool mayStillHold(const Error &error) {
    static const QSet<int> codes = {kNoAnswer, 11, 12};
    return codes.contains(error.code);
}

// The server may have given the lock, and its token wasn't told.
bool mayBeUntold(const Error &error) {
    return error.code == kNoAnswer || error.code == kNoLockOfOurs;
}

// Null: the item is gone, and with it the lock; nobody need be told.
const char *renewalMessage(const Error &error) {
    static const QMap<int, const char *> keys = {
        {kNoAnswer, "VDLockController_3"}, {3, "VDLockController_0"},
        {5, "VDLockController_1"},         {6, nullptr},
        {7, "VDLockController_2"},
    };
    return keys.value(error.code, "VDLockController_4");
}

std::chrono::milliseconds timeSinceBoot() {
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

}  // namespace

LockTiming LockTiming::ofThisComputer() {
    return {.now = timeSinceBoot};
}

VDLockController::VDLockController(std::shared_ptr<VDWebDAVConnect> con, const QString &mountPoint,
                                   const QString &connectName, const LockTiming &timing,
                                   const QString &journalFolder)
    : con(std::move(con)),
      mountPoint(mountPoint),
      connectName(connectName),
      timing(timing),
      journal(journalFolder),
      leftLocks(journal.left()) {
    thread = std::thread([this] { fileLockThread(); });
}

VDLockController::~VDLockController() {
    dispose();
    // The thread may have a message to show, which takes the main thread's events, and this may be
    // the main thread.
    const auto here = RunLoop::current();
    {
        const std::lock_guard guard(threadState);
        waiter = here;
    }
    here->runUntil([this] {
        const std::lock_guard guard(threadState);
        return threadEnded;
    });
    thread.join();
}

std::shared_ptr<LockDiscovery> VDLockController::lock(
    const QString &path, const std::shared_ptr<LockDiscovery> &lockDiscovery, ErrorOut error) {
    const std::lock_guard monitor(syncObj);
    releaseLeft();
    const QString key = keyOf(path);
    const LockPtr known = lockDic.value(key);
    const LockPtr given = usable(lockDiscovery);
    if (const unsigned count = countOf(key); count != 0) {
        const bool takesGiven = !known || (!known->isLock && given);
        if (takesGiven)
            lockDic[key] = given;
        lockCountMap[key] = count + 1;
        return lockDic.value(key);
    }

    lockCountMap[key] = 1;
    requestPaths[key] = path;
    LockPtr taken;
    std::optional<Error> failure;
    const bool locked = takeOnServer(path, known ? known : given, &taken, &failure);
    if (!locked && !(failure && failure->isPosix())) {
        lockCountMap[key] = 0;
        setError(error, Error::errorWithPOSIXCode(failure ? posixCodeOf(*failure) : EACCES));
        return nullptr;
    }
    // Holders keep the record they got, so a new lock goes into the old object.
    if (known && taken)
        *known = *taken;
    else if (taken)
        lockDic[key] = taken;
    nextLockTimeDic[key] = timing.now() + kRenewalPeriod;
    return lockDic.value(key);
}

QString VDLockController::keyOf(const QString &path) {
    return path.normalized(QString::NormalizationForm_D);
}

VDLockController::LockPtr VDLockController::usable(const LockPtr &lock) const {
    return lock && (con->isVelmora() || con->isOwnLock(*lock)) ? lock : nullptr;
}

bool VDLockController::takeOnServer(const QString &path, const LockPtr &previous, LockPtr *taken,
                                    ErrorOut error) {
    std::optional<Error> failure;
    if (!con->fileLock(path, kRequestedTimeout, previous, taken, &failure)) {
        const LockPtr unmarked = std::exchange(*taken, nullptr);
        if (unmarked)
            giveBack(path, unmarked);
        else if (failure && mayBeUntold(*failure) && !con->isVelmora())
            keepLeft({con->itemUrl(path), QString()});
        if (failure)
            setError(error, *failure);
        return false;
    }
    if (*taken && (*taken)->isLock)
        journal.put(keyOf(path), {con->itemUrl(path), (*taken)->locktoken});
    return true;
}

// Taken, but the marking that goes with it failed: nobody else would release it.
void VDLockController::giveBack(const QString &path, const LockPtr &lock) {
    std::optional<Error> failure;
    con->fileUnlock(path, lock, &failure);
    if (failure && mayStillHold(*failure))
        keepLeft({con->itemUrl(path), lock->locktoken});
}

void VDLockController::releaseOnServer(const QString &key, ErrorOut error) {
    con->fileUnlock(requestPaths.value(key), lockDic.value(key), error);
}

void VDLockController::keepLeft(const QString &key, const std::optional<Error> &failure) {
    const LockPtr lock = lockDic.value(key);
    if (failure && mayStillHold(*failure) && lock && lock->isLock)
        keepLeft({con->itemUrl(requestPaths.value(key)), lock->locktoken});
}

void VDLockController::keepLeft(const HeldLock &lock) {
    const bool isKnown = std::any_of(leftLocks.cbegin(), leftLocks.cend(), [&](const auto &left) {
        return left.resource == lock.resource && left.token == lock.token;
    });
    if (!isKnown)
        leftLocks.append(lock);
}

void VDLockController::forget(const QString &key) {
    if (const LockPtr lock = lockDic.take(key))
        lock->isLock = false;
    nextLockTimeDic.remove(key);
    lockCountMap.remove(key);
    requestPaths.remove(key);
    journal.remove(key);
    const std::lock_guard guard(threadState);
    nowUploadDic.remove(key);
}

bool VDLockController::unlock(const QString &path, ErrorOut) {
    const std::lock_guard monitor(syncObj);
    const QString key = keyOf(path);
    if (!lockCountMap.contains(key))
        return true;
    const unsigned count = countOf(key);
    if (count >= 2) {
        lockCountMap[key] = count - 1;
        return true;
    }
    if (count == 0) {
        lockCountMap.remove(key);
        nextLockTimeDic.remove(key);
        if (!lockDic.contains(key))
            requestPaths.remove(key);
        return true;
    }
    std::optional<Error> failure;
    releaseOnServer(key, &failure);
    if (failure && !endsUnlocking(*failure))
        return false;
    keepLeft(key, failure);
    forget(key);
    return true;
}

bool VDLockController::isLock(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    return countOf(keyOf(path)) != 0;
}

bool VDLockController::lockMeOnly(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    return lockCountMap.value(keyOf(path), 1) == 1;
}

std::shared_ptr<LockDiscovery> VDLockController::getDiscovery(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    const QString key = keyOf(path);
    return countOf(key) != 0 ? lockDic.value(key) : nullptr;
}

void VDLockController::uploadStart(const QString &path) {
    const std::lock_guard guard(threadState);
    nowUploadDic.insert(keyOf(path));
}

void VDLockController::uploadEnd(const QString &path) {
    const std::lock_guard guard(threadState);
    nowUploadDic.remove(keyOf(path));
}

bool VDLockController::isUploading(const QString &key) const {
    const std::lock_guard guard(threadState);
    return nowUploadDic.contains(key);
}

void VDLockController::dispose() {
    {
        const std::lock_guard guard(threadState);
        loop = false;
    }
    disposed.notify_all();
}

bool VDLockController::isRunning() const {
    const std::lock_guard guard(threadState);
    return loop;
}

void VDLockController::fileLockThread() {
    while (isRunning()) {
        releaseLeft();
        renewDueLocks();
        std::unique_lock guard(threadState);
        disposed.wait_for(guard, timing.pauseBetweenPasses, [this] { return !loop; });
    }
    releaseAll();

    const std::lock_guard guard(threadState);
    threadEnded = true;
    if (waiter)
        waiter->post([] {});
}

void VDLockController::renewDueLocks() {
    QStringList paths;
    {
        const std::lock_guard monitor(syncObj);
        paths = lockCountMap.keys();
    }
    for (const QString &path : std::as_const(paths)) {
        const std::optional<Error> refusal = renew(path);
        const char *key = refusal ? renewalMessage(*refusal) : nullptr;
        if (!key)
            continue;
        // Not under the monitor: the main thread may be waiting for that, and shows the message.
        VDCommonUtils::showAlert({.title = localizedText("Common_Error_Title"),
                                  .text = localizedText(key, mountPoint, path, connectName),
                                  .informativeText = {},
                                  .buttons = {localizedText("Common_Button_OK")}});
    }
}

std::optional<Error> VDLockController::renew(const QString &key) {
    const std::lock_guard monitor(syncObj);
    if (countOf(key) == 0)
        return std::nullopt;
    const Time now = timing.now();
    Time &next = nextLockTimeDic[key];
    if (next == Time::zero())
        next = now + kRenewalPeriod;
    if (next > now)
        return std::nullopt;
    if (isUploading(key)) {
        next = now + kRenewalPeriod;
        return std::nullopt;
    }
    LockPtr renewed;
    std::optional<Error> failure;
    if (takeOnServer(requestPaths.value(key), lockDic.value(key), &renewed, &failure)) {
        next = timing.now() + kRenewalPeriod;
        if (renewed)
            lockDic[key] = renewed;
        return std::nullopt;
    }
    if (!failure)
        return std::nullopt;  // still due, so the next pass tries again
    std::optional<Error> unlockFailure;
    releaseOnServer(key, &unlockFailure);
    keepLeft(key, unlockFailure);
    lockDic.remove(key);
    lockCountMap.remove(key);
    requestPaths.remove(key);
    journal.remove(key);
    return failure;
}

// The tables stay as they are, for whoever still asks.
void VDLockController::releaseAll() {
    releaseLeft();
    QStringList held;
    {
        const std::lock_guard monitor(syncObj);
        held = lockDic.keys();
    }
    for (const QString &key : std::as_const(held)) {
        const std::lock_guard monitor(syncObj);
        if (!lockCountMap.contains(key))
            continue;
        std::optional<Error> failure;
        releaseOnServer(key, &failure);
        if (!failure || endsUnlocking(*failure))
            journal.remove(key);
        keepLeft(key, failure);
    }
    releaseLeft();
}

// Before anything is locked, since the same file may be opened again at once.
void VDLockController::releaseLeft() {
    const std::lock_guard monitor(syncObj);
    if (leftLocks.isEmpty())
        return;
    while (!leftLocks.isEmpty()) {
        const HeldLock lock = leftLocks.takeFirst();
        if (settleLeft(lock))
            continue;
        leftLocks.append(lock);  // for another time, after the others
        return;
    }
    journal.dropLeft();
}

bool VDLockController::settleLeft(const HeldLock &lock) {
    const QUrl own = con->itemUrl(QStringLiteral("/"));
    const QUrl &url = lock.resource;
    // A token is for the server that gave it. Where it is another one now, the lock runs out.
    if (url.scheme() != own.scheme() || url.authority() != own.authority())
        return true;
    std::optional<Error> failure;
    if (!lock.token.isEmpty())
        return con->releaseLock(lock, &failure);
    if (const LockPtr lost = con->lostLock(url, &failure))
        return con->releaseLock({url, lost->locktoken}, nullptr);
    return !failure || failure->code != kNoAnswer;
}
