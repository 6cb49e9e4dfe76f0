// The lock requests. No lock is remembered here but by its token: which one holds for an item is
// the lock table's business.

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/LockDiscovery.h"
#include "webdav/Namespaces.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

using Lock = std::shared_ptr<LockDiscovery>;

constexpr int kNoLock = 4;
constexpr int kLockedBySomeoneElse = 5;
constexpr int kNotFound = 6;
constexpr int kPreconditionFailed = 412;

constexpr qint64 kDefaultAccess = -1;

// Both swap 500 and 503 on purpose: see the retry sets.
const StatusTable kLockTable = {
    {200},
    {{400, 18, StatusRow::kOutput},
     {401, 1},
     {403, 7},
     {404, 6},
     {423, 3},
     {500, 12, StatusRow::kOutput},
     {503, 11, StatusRow::kOutput},
     {507, 10, StatusRow::kOutput}},
    {0, 13},
};

const StatusTable kQuestionTable = {{207}, {}, {0, 13}};
const QString kLockQuestion = QStringLiteral(
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>"
    "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:lockdiscovery/></D:prop></D:propfind>");

const StatusTable kUnlockTable = {
    {204},
    {{400, 18, StatusRow::kOutput},
     {401, 1},
     {403, 7},
     {404, 6},
     {423, 3},
     {500, 12, StatusRow::kOutput},
     {503, 11, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

QString inBrackets(const QString &token) {
    return QLatin1Char('<') + token + QLatin1Char('>');
}

// The token in the answer to a request for a new lock; empty without one.
QString givenToken(const ASWDCmd &command) {
    const QString token =
        answerField(command, QStringLiteral("Lock-Token")).value_or(QString()).trimmed();
    const bool bracketed = token.startsWith(QLatin1Char('<')) && token.endsWith(QLatin1Char('>'));
    return bracketed ? token.mid(1, token.size() - 2) : QString();
}

// Where no token was told, the server may have the lock all the same: the answer got lost, or its
// end, or a gateway's stands for it. And where a request is sent again on a new connection, it may
// meet the lock of its first sending.
bool mayBeServed(Outcome outcome, int status) {
    constexpr int kLocked = 423;
    constexpr int kServerError = 500;
    return outcome != Outcome::kRefused || status == kLocked || status >= kServerError;
}

}  // namespace

QUrl VDWebDAVConnect::itemOrFullUrl(const QString &pathOrUrl) const {
    return VDCommonUtils::isUrlFull(pathOrUrl) ? QUrl(pathOrUrl) : itemUrl(pathOrUrl);
}

bool VDWebDAVConnect::isOwnLock(const LockDiscovery &lock) const {
    if (velmora)
        return lock.owner == user;
    const std::lock_guard guard(ownTokensMutex);
    return ownTokens.contains(lock.locktoken);
}

QList<HeldLock> VDWebDAVConnect::heldLocks(const QList<Lock> &locks, const QUrl &item) const {
    const std::lock_guard guard(ownTokensMutex);
    QList<HeldLock> held;
    for (const Lock &lock : locks) {
        if (!lock || lock->locktoken.isEmpty() ||
            (!velmora && !ownTokens.contains(lock->locktoken)))
            continue;
        held.append({ownTokens.value(lock->locktoken, item), lock->locktoken});
    }
    return held;
}

bool VDWebDAVConnect::fileLock(const QString &path, ErrorOut error) {
    return fileLock(path, 0, nullptr, nullptr, error);
}

bool VDWebDAVConnect::fileLock(const QString &path, int timeout, const Lock &prevLockDiscovery,
                               Lock *lockDiscovery, ErrorOut error) {
    return fileLock(path, timeout, false, kDefaultAccess, kDefaultAccess, prevLockDiscovery,
                    lockDiscovery, error);
}

bool VDWebDAVConnect::fileLock(const QString &path, int timeout, bool shared, qint64 lockFileAccess,
                               qint64 lockFileShare, const Lock &earlier, Lock *lockDiscovery,
                               ErrorOut error) {
    if (!needsLocks()) {
        if (lockDiscovery)
            *lockDiscovery = std::make_shared<LockDiscovery>();
        return true;
    }
    // With the token of somebody else's lock, which a listing told, a standard server would renew
    // it for us.
    const bool presents = earlier && (velmora || isOwnLock(*earlier));
    const Lock prevLockDiscovery = presents ? earlier : nullptr;
    const qint64 share = lockFileShare != kDefaultAccess ? lockFileShare : shared ? 1 : 0;
    const qint64 access = lockFileAccess != kDefaultAccess ? lockFileAccess : shared ? 1 : 3;
    const auto lockAnew = [&](ErrorOut newError) {
        return fileLock(path, timeout, shared, lockFileAccess, lockFileShare, nullptr,
                        lockDiscovery, newError);
    };

    const auto command = std::make_shared<ASWDCmdLock>(itemOrFullUrl(path), coninfo);
    command->requestBody = QStringLiteral("");
    if (timeout >= 1)
        command->requestHeader[QStringLiteral("Timeout")] =
            QStringLiteral("Second-%1").arg(timeout);
    command->requestHeader[QStringLiteral("Depth")] = QStringLiteral("0");
    if (prevLockDiscovery) {
        command->requestHeader[QStringLiteral("If")] =
            dialect().ifOfLockRefresh(command->remoteURL, prevLockDiscovery->locktoken);
    } else {
        command->requestBody = dialect().lockBody(lockOwner(), shared);
        dialect().describeXmlBody(command->requestHeader);
    }
    std::optional<Error> failure;
    const Outcome outcome = change(*command, kLockTable, &failure);
    const int status = answerStatus(*command);
    if (outcome == Outcome::kRefused && status == kPreconditionFailed && prevLockDiscovery)
        return lockAnew(error);

    Lock lock;
    if (outcome == Outcome::kSuccess)
        lock = lockOfAnswer(*command, prevLockDiscovery.get(), &failure);
    const bool isTold = prevLockDiscovery || (lock && isOwnLock(*lock));
    const bool isAsked = !isTold && mayBeServed(outcome, status);
    if (const Lock lost = isAsked ? lostLock(command->remoteURL, nullptr) : nullptr) {
        failure.reset();
        makeOwn(*lost, command->remoteURL, kNew);
        lock = lost;
    }
    if (failure) {
        if (error)
            *error = failure;
        else if (outcome == Outcome::kNoAnswer)
            VDCommonUtils::outputLog(failure);
        return false;
    }
    if (lockDiscovery)
        *lockDiscovery = lock;
    if (lock && isOwnLock(*lock))
        return markLocked(path, *lock, access, share, error);
    if (prevLockDiscovery && lockAnew(nullptr))
        return true;
    setError(error, {kConnectErrorDomain, kLockedBySomeoneElse, {}});
    return false;
}

Lock VDWebDAVConnect::lockOfAnswer(const ASWDCmdBase &command, const LockDiscovery *refreshed,
                                   ErrorOut error) {
    Lock lock = LockDiscovery::createFromXmlFromLockbody(command.responseBody, error);
    if (velmora)
        return lock;
    // The body may tell of others' locks on the same item and leave the owner out. What was given
    // stands in the header; a refresh gives back the lock that was refreshed.
    QString token = refreshed && isOwnLock(*refreshed) ? refreshed->locktoken : QString();
    if (!refreshed)
        token = givenToken(command);
    if (!refreshed && token.isEmpty() && lock)
        token = lock->locktoken;
    if (token.isEmpty())
        return lock;
    if (!lock)
        lock = std::make_shared<LockDiscovery>();
    lock->isLock = true;
    lock->locktoken = token;
    makeOwn(*lock, command.remoteURL, refreshed ? kRefreshed : kNew);
    return lock;
}

// The user's name is for people. It doesn't tell this session's locks from those that another
// program of the same user has.
QString VDWebDAVConnect::lockOwner() const {
    return velmora ? user : QStringLiteral("%1 (%2)").arg(user, lockMark);
}

void VDWebDAVConnect::makeOwn(LockDiscovery &lock, const QUrl &item, Taken taken) {
    lock.owner = user;
    const std::lock_guard guard(ownTokensMutex);
    // A new lock of an item means that earlier ones ended.
    if (taken == kNew && lock.lockscope != QLatin1String("shared"))
        ownTokens.removeIf([&](const auto &held) { return held.value() == item; });
    ownTokens[lock.locktoken] = item;
}

Lock VDWebDAVConnect::lostLock(const QUrl &item, ErrorOut error) {
    if (velmora)
        return nullptr;
    const NeededRead needed(*this);
    std::optional<Error> failure;
    const CommandPtr command = propFind(item, 0, kLockQuestion, {}, kQuestionTable, &failure);
    if (failure) {
        setError(error, *failure);
        return nullptr;
    }
    const Lock lock = LockDiscovery::createFromXmlFromPropfindbody(command->responseBody, nullptr);
    const bool isLost = lock && lock->owner.contains(lockMark) && !isOwnLock(*lock);
    return isLost && !lock->locktoken.isEmpty() ? lock : nullptr;
}

// Servers of the vendor before version 4 keep who may read and write a locked item in properties.
// Others are told too, for the sake of this program on other computers, and may refuse.
bool VDWebDAVConnect::markLocked(const QString &path, const LockDiscovery &lock, qint64 access,
                                 qint64 share, ErrorOut error) {
    if (VDCommonUtils::versionCheck(velmoraVersion, QStringLiteral("4"), QString()))
        return true;
    const HeaderFields props = {
        {QStringLiteral("readonly"), QStringLiteral("2")},
        {QStringLiteral("lockaccess"), QString::number(access)},
        {QStringLiteral("lockshare"), QString::number(share)},
    };
    const HeaderFields headers = {
        {QStringLiteral("If"), dialect().ifOfPropPatch(itemOrFullUrl(path), lock.locktoken)}};
    std::optional<Error> failure;
    putProperties(path, props, VelmoraNamespaceURI, headers, &failure);
    if (!failure || failure->code == kNotFound || !velmora)
        return true;
    setError(error, *failure);
    return false;
}

bool VDWebDAVConnect::fileUnlock(const QString &path, ErrorOut error) {
    const Lock lock = getLock(path, nullptr);
    if (lock)
        return fileUnlock(path, lock, error);
    setError(error, {kConnectErrorDomain, kNoLock, {}});
    return false;
}

// A refused UNLOCK is still true, with an error: callers look at the error, not at the result.
bool VDWebDAVConnect::fileUnlock(const QString &path, const Lock &lockDiscovery, ErrorOut error) {
    const Lock lock = lockDiscovery ? lockDiscovery : getLock(path, error);
    if (!lock) {
        setError(error, {kConnectErrorDomain, kNoLock, {}});
        return false;
    }
    // The record of an item of a server without locks.
    if (!needsLocks() && !lock->isLock)
        return true;
    if (!isOwnLock(*lock)) {
        setError(error, {kConnectErrorDomain, kLockedBySomeoneElse, {}});
        return false;
    }
    const QList<HeldLock> held = heldLocks({lock}, itemOrFullUrl(path));
    const HeldLock own = held.value(0, {itemOrFullUrl(path), lock->locktoken});
    return releaseLock(own, error);
}

bool VDWebDAVConnect::releaseLock(const HeldLock &lock, ErrorOut error) {
    const auto command = std::make_shared<ASWDCmdUnlock>(lock.resource, coninfo);
    command->lockToken = inBrackets(lock.token);
    command->requestHeader[QStringLiteral("Lock-Token")] = command->lockToken;
    const Outcome outcome = change(*command, kUnlockTable, error);
    const bool gone = outcome == Outcome::kRefused && dialect().isLockGone(answerStatus(*command));
    if (gone)
        setError(error, {kConnectErrorDomain, kNotFound, {}});
    if (gone || outcome == Outcome::kSuccess) {
        const std::lock_guard guard(ownTokensMutex);
        ownTokens.remove(lock.token);
    }
    return outcome != Outcome::kNoAnswer;
}

void VDWebDAVConnect::letGo(QList<HeldLock> *locks) {
    if (velmora)
        return;
    for (const HeldLock &lock : std::as_const(*locks))
        releaseLock(lock, nullptr);
    locks->clear();
}

Lock VDWebDAVConnect::getLock(const QString &path, ErrorOut error) {
    std::optional<Error> failure;
    const CommandPtr command = getItemProperty(path, QStringList{QStringLiteral("lockdiscovery")},
                                               QStringList{kDavNamespaceURI}, &failure);
    if (failure || !command) {
        if (failure)
            setError(error, *failure);
        return nullptr;
    }
    return LockDiscovery::createFromXmlFromPropfindbody(command->responseBody, error);
}
