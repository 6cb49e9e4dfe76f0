#include "lock/VDLockController.h"

#include <time.h>
#include <utility>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "platform/net/RunLoop.h"
#include "webdav/LockDiscovery.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kRequestedTimeout = 300;  // seconds
constexpr std::chrono::seconds kRenewalPeriod(150);

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

// Null: the item is gone, and with it the lock; nobody need be told.
const char *renewalMessage(const Error &error) {
    static const QMap<int, const char *> keys = {
        {0, "VDLockController_3"}, {3, "VDLockController_0"},
        {5, "VDLockController_1"}, {6, nullptr},
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
                                   const QString &connectName, const LockTiming &timing)
    : con(std::move(con)), mountPoint(mountPoint), connectName(connectName), timing(timing) {
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
    const std::shared_ptr<LockDiscovery> known = lockDic.value(path);
    if (const unsigned count = countOf(path); count != 0) {
        const bool takesGiven = !known || (!known->isLock && lockDiscovery);
        if (takesGiven)
            lockDic[path] = lockDiscovery;
        lockCountMap[path] = count + 1;
        return lockDic.value(path);
    }

    lockCountMap[path] = 1;
    std::shared_ptr<LockDiscovery> taken;
    std::optional<Error> failure;
    const bool locked =
        con->fileLock(path, kRequestedTimeout, known ? known : lockDiscovery, &taken, &failure);
    if (!locked && !(failure && failure->isPosix())) {
        lockCountMap[path] = 0;
        setError(error, Error::errorWithPOSIXCode(failure ? posixCodeOf(*failure) : EACCES));
        return nullptr;
    }
    // Holders keep the record they got, so a new lock goes into the old object.
    if (known && taken)
        *known = *taken;
    else if (taken)
        lockDic[path] = taken;
    nextLockTimeDic[path] = timing.now() + kRenewalPeriod;
    return lockDic.value(path);
}

bool VDLockController::unlock(const QString &path, ErrorOut) {
    const std::lock_guard monitor(syncObj);
    if (!lockCountMap.contains(path))
        return true;
    const unsigned count = countOf(path);
    if (count >= 2) {
        lockCountMap[path] = count - 1;
        return true;
    }
    if (count == 0) {
        lockCountMap.remove(path);
        nextLockTimeDic.remove(path);
        return true;
    }
    const std::shared_ptr<LockDiscovery> lock = lockDic.value(path);
    std::optional<Error> failure;
    con->fileUnlock(path, lock, &failure);
    if (failure && !endsUnlocking(*failure))
        return false;
    if (lock)
        lock->isLock = false;
    forget(path);
    return true;
}

void VDLockController::forget(const QString &path) {
    lockDic.remove(path);
    nextLockTimeDic.remove(path);
    lockCountMap.remove(path);
    uploadEnd(path);
}

bool VDLockController::isLock(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    return countOf(path) != 0;
}

bool VDLockController::lockMeOnly(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    return lockCountMap.value(path, 1) == 1;
}

std::shared_ptr<LockDiscovery> VDLockController::getDiscovery(const QString &path) const {
    const std::lock_guard monitor(syncObj);
    return countOf(path) != 0 ? lockDic.value(path) : nullptr;
}

void VDLockController::uploadStart(const QString &path) {
    const std::lock_guard guard(threadState);
    nowUploadDic.insert(path);
}

void VDLockController::uploadEnd(const QString &path) {
    const std::lock_guard guard(threadState);
    nowUploadDic.remove(path);
}

bool VDLockController::isUploading(const QString &path) const {
    const std::lock_guard guard(threadState);
    return nowUploadDic.contains(path);
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

std::optional<Error> VDLockController::renew(const QString &path) {
    const std::lock_guard monitor(syncObj);
    if (countOf(path) == 0)
        return std::nullopt;
    const Time now = timing.now();
    Time &next = nextLockTimeDic[path];
    if (next == Time::zero())
        next = now + kRenewalPeriod;
    if (next > now)
        return std::nullopt;
    if (isUploading(path)) {
        next = now + kRenewalPeriod;
        return std::nullopt;
    }
    std::shared_ptr<LockDiscovery> renewed;
    std::optional<Error> failure;
    if (con->fileLock(path, kRequestedTimeout, lockDic.value(path), &renewed, &failure)) {
        next = timing.now() + kRenewalPeriod;
        if (renewed)
            lockDic[path] = renewed;
        return std::nullopt;
    }
    if (!failure)
        return std::nullopt;  // still due, so the next pass tries again
    con->fileUnlock(path, lockDic.value(path), nullptr);
    lockDic.remove(path);
    lockCountMap.remove(path);
    return failure;
}

// Without the monitor: the tables stay as they are, for whoever still asks.
void VDLockController::releaseAll() {
    QMap<QString, std::shared_ptr<LockDiscovery>> held;
    {
        const std::lock_guard monitor(syncObj);
        for (const QString &path : lockCountMap.keys()) {
            if (const auto lock = lockDic.value(path))
                held[path] = lock;
        }
    }
    for (auto it = held.cbegin(); it != held.cend(); ++it)
        con->fileUnlock(it.key(), it.value(), nullptr);
}
