// Changes of items and of their properties. A lock that the caller holds is presented in "If".

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/LockDiscovery.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

using Lock = std::shared_ptr<LockDiscovery>;

constexpr int kSameItem = 2;
constexpr int kStatusNotFound = 404;
constexpr int kStatusPreconditionFailed = 412;
constexpr int kStatusFailedDependency = 424;

// The tables differ on purpose: a copy's default is 12, a delete swaps 500 and 503, a move reads a
// 401 as any other status. What the user is told depends on it.
const StatusTable kMoveTable = {
    {201, 204},
    {{207, 3},
     {400, 18, StatusRow::kOutput},
     {403, 7, StatusRow::kRefusable},
     {404, 6},
     {409, 9, StatusRow::kOutput},
     {423, 3},
     {500, 11, StatusRow::kOutput},
     {502, 14, StatusRow::kOutput},
     {503, 12, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

const StatusTable kCopyTable = {
    {201, 204},
    {{400, 18}, {403, 7}, {404, 6}, {409, 9}, {500, 11}, {502, 14}},
    {0, 12},
};

const StatusTable kDeleteTable = {
    {204},
    {{207, 3},
     {400, 18, StatusRow::kOutput},
     {401, 1},
     {403, 7},
     {404, 6},
     {423, 3},
     {500, 12, StatusRow::kOutput},
     {503, 11, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

const StatusTable kMakeDirectoryTable = {
    {201},
    {{400, 18, StatusRow::kOutput},
     {401, 1},
     {403, 7},
     {405, 8},
     {409, 9, StatusRow::kOutput},
     {423, 3},
     {500, 11, StatusRow::kOutput},
     {503, 12, StatusRow::kOutput},
     {507, 10, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

const StatusTable kPropPatchTable = {
    {200, 207},
    {{400, 18, StatusRow::kOutput},
     {401, 1},
     {403, 7},
     {404, 6},
     {409, 9, StatusRow::kOutput},
     {423, 3},
     {500, 11, StatusRow::kOutput},
     {503, 12, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

QString overwriteText(bool overWrite) {
    return overWrite ? QStringLiteral("T") : QStringLiteral("F");
}

void present(const QString &condition, ASWDCmd &command) {
    if (!condition.isEmpty())
        command.requestHeader[QStringLiteral("If")] = condition;
}

QString settingElement(const QString &name, const QString &value, bool sendAsCDATA) {
    QString text = VDCommonUtils::htmlEscape(value);
    if (sendAsCDATA) {
        text = value;
        text.replace(QLatin1String("]]>"), QLatin1String("]]&gt;"));
        text = QStringLiteral("<![CDATA[") + text + QStringLiteral("]]>");
    }
    return QStringLiteral("<Z:") + name + QLatin1Char('>') + text + QStringLiteral("</Z:") + name +
           QLatin1Char('>');
}

QString propertyUpdate(const HeaderFields &props, const QString &nameSpace, bool sendAsCDATA) {
    QString settings;
    QString removals;
    for (auto it = props.cbegin(); it != props.cend(); ++it) {
        if (it.value().isNull())
            removals += QStringLiteral("<Z:") + it.key() + QStringLiteral("/>");
        else
            settings += settingElement(it.key(), it.value(), sendAsCDATA);
    }
    QString body = QStringLiteral(
                       "<?xml version=\"1.0\" ?>"
                       "<D:propertyupdate xmlns:D=\"DAV:\" xmlns:Z=\"") +
                   nameSpace + QStringLiteral("\">");
    if (!settings.isEmpty())
        body += QStringLiteral("<D:set><D:prop>") + settings + QStringLiteral("</D:prop></D:set>");
    if (!removals.isEmpty())
        body += QStringLiteral("<D:remove><D:prop>") + removals +
                QStringLiteral("</D:prop></D:remove>");
    return body + QStringLiteral("</D:propertyupdate>");
}

// Of a folder, an item in it may be what refuses them.
bool refusesLocks(const ASWDCmdBase &command) {
    const int status = answerStatus(command);
    return status == kStatusPreconditionFailed ||
           (status == kStatusFailedDependency && command.responseBody.contains(" 412 "));
}

}  // namespace

Outcome VDWebDAVConnect::change(ASWDCmd &command, const StatusTable &table, ErrorOut error) {
    return runCommand(*this, command,
                      {dialect().successOf(table.success), table.rows, table.otherwise}, error);
}

bool VDWebDAVConnect::fileMoveFrom(const QString &from, const QString &to, ErrorOut error) {
    return fileMoveFrom(from, to, true, error);
}

bool VDWebDAVConnect::fileMoveFrom(const QString &from, const QString &to, bool overWrite,
                                   ErrorOut error) {
    return fileMoveFrom(from, to, overWrite, QList<Lock>(), error);
}

bool VDWebDAVConnect::fileMoveFrom(const QString &from, const QString &to, bool overWrite,
                                   const Lock &lock, ErrorOut error) {
    return fileMoveFrom(from, to, overWrite, lock ? QList<Lock>{lock} : QList<Lock>(), error);
}

bool VDWebDAVConnect::fileMoveFrom(const QString &from, const QString &to, bool overWrite,
                                   const QList<Lock> &locks, ErrorOut error) {
    if (from == to) {
        setError(error, {kConnectErrorDomain, kSameItem, {}});
        return false;
    }
    QList<HeldLock> held = heldLocks(locks, itemUrl(from));
    const auto outcome = changeUnderLocks(
        [&] {
            const auto command = std::make_shared<ASWDCmdMove>(itemUrl(from), coninfo);
            command->destinationURL = itemUrl(to);
            dialect().describeDestination(command->requestHeader, command->destinationURL);
            command->requestHeader[QStringLiteral("Overwrite")] = overwriteText(overWrite);
            present(dialect().ifOfMove(held), *command);
            return command;
        },
        kMoveTable, &held, error);
    if (outcome != Outcome::kSuccess)
        return false;
    serverNames.forget(from);
    return true;
}

// Not every server takes the locks it gave: the Go handler wants a moved item's lock to be on the
// target as well, lighttpd wants one on the very item of the request. Without its locks the item is
// open to others for a moment, as it is until it has one at its new place.
template <typename MakeCommand>
Outcome VDWebDAVConnect::changeUnderLocks(const MakeCommand &makeCommand, const StatusTable &table,
                                          QList<HeldLock> *held, ErrorOut error, int *status) {
    auto command = makeCommand();
    Outcome outcome = change(*command, table, error);
    if (refusesLocks(*command) && !velmora && !held->isEmpty()) {
        letGo(held);
        if (error)
            error->reset();
        command = makeCommand();
        outcome = change(*command, table, error);
    }
    if (status)
        *status = answerStatus(*command);
    return outcome;
}

bool VDWebDAVConnect::fileCopyFrom(const QString &from, const QString &to, bool overWrite,
                                   ErrorOut error) {
    return fileCopyFrom(from, to, overWrite, nullptr, error);
}

bool VDWebDAVConnect::fileCopyFrom(const QString &from, const QString &to, bool overWrite,
                                   const Lock &lock, ErrorOut error) {
    if (from == to) {
        setError(error, {kConnectErrorDomain, kSameItem, {}});
        return false;
    }
    const auto command = std::make_shared<ASWDCmdCopy>(itemUrl(from), coninfo);
    command->destinationURL = itemUrl(to);
    dialect().describeDestination(command->requestHeader, command->destinationURL);
    command->requestHeader[QStringLiteral("Overwrite")] = overwriteText(overWrite);
    for (const HeldLock &held : heldLocks({lock}, command->remoteURL))
        command->requestHeader[QStringLiteral("If")] =
            dialect().ifOfCopy(command->remoteURL, held.token);
    return change(*command, kCopyTable, error) == Outcome::kSuccess;
}

bool VDWebDAVConnect::fileDelete(const QString &path, ErrorOut error) {
    return fileDelete(path, {}, error);
}

bool VDWebDAVConnect::fileDelete(const QString &path, const QList<Lock> &locks, ErrorOut error) {
    QList<HeldLock> held = heldLocks(locks, itemUrl(path));
    int status = 0;
    const auto outcome = changeUnderLocks(
        [&] {
            const auto command = std::make_shared<ASWDCmdDelete>(itemUrl(path), coninfo);
            present(dialect().ifOfDelete(held), *command);
            return command;
        },
        kDeleteTable, &held, error, &status);
    // Some servers keep the lock of a name without an item, and refuse whoever makes one of that
    // name.
    if (outcome == Outcome::kSuccess || status == kStatusNotFound)
        letGo(&held);
    if (outcome != Outcome::kSuccess)
        return false;
    serverNames.forget(path);
    return true;
}

bool VDWebDAVConnect::fileMakeDirectory(const QString &path, ErrorOut error) {
    const auto command = std::make_shared<ASWDCmdMkCol>(itemUrl(path), coninfo);
    return change(*command, kMakeDirectoryTable, error) == Outcome::kSuccess;
}

CommandPtr VDWebDAVConnect::putProperty(const QString &path, const QString &propName,
                                        const QString &propValue, const QString &nameSpace,
                                        ErrorOut error) {
    return putProperty(path, propName, propValue, nameSpace, {}, error);
}

CommandPtr VDWebDAVConnect::putProperty(const QString &path, const QString &propName,
                                        const QString &propValue, const QString &nameSpace,
                                        const HeaderFields &headers, ErrorOut error) {
    return putProperties(path, {{propName, propValue}}, nameSpace, headers, error);
}

CommandPtr VDWebDAVConnect::putProperties(const QString &path, const HeaderFields &props,
                                          const QString &nameSpace, const HeaderFields &headers,
                                          ErrorOut error) {
    return putProperties(path, props, nameSpace, headers, false, error);
}

CommandPtr VDWebDAVConnect::putProperties(const QString &path, const HeaderFields &props,
                                          const QString &nameSpace, const HeaderFields &headers,
                                          bool sendAsCDATA, ErrorOut error) {
    return putProperties(path, props, nameSpace, headers, sendAsCDATA, nullptr, error);
}

CommandPtr VDWebDAVConnect::putProperties(const QString &path, const HeaderFields &props,
                                          const QString &nameSpace, const HeaderFields &headers,
                                          bool sendAsCDATA, const Lock &lock, ErrorOut error) {
    CommandPtr last;
    std::optional<Error> failure;
    withRetries(kRetrySetA, &failure, [&](ErrorOut attemptError) {
        last =
            putPropertiesInternal(path, props, nameSpace, headers, sendAsCDATA, lock, attemptError);
        return last;
    });
    if (failure && error)
        *error = failure;
    else if (failure && last)
        VDCommonUtils::outputLog(failure);
    return last;
}

// A failed exchange comes back as the command with an error, a refusal as null. What a 207 says of
// single properties is left to the caller.
CommandPtr VDWebDAVConnect::putPropertiesInternal(const QString &path, const HeaderFields &props,
                                                  const QString &nameSpace,
                                                  const HeaderFields &headers, bool sendAsCDATA,
                                                  const Lock &lock, ErrorOut error) {
    const auto command = std::make_shared<ASWDCmdPropPatch>(itemOrFullUrl(path), coninfo);
    // Without properties it is the fields that matter, which only the vendor's server reads; the
    // standard wants at least one property.
    if (props.isEmpty() && !velmora)
        return command;
    command->requestBody = propertyUpdate(props, nameSpace, sendAsCDATA);
    command->requestHeader = headers;
    dialect().describeXmlBody(command->requestHeader);
    for (const HeldLock &held : heldLocks({lock}, command->remoteURL))
        command->requestHeader[QStringLiteral("If")] =
            dialect().ifOfPropPatch(command->remoteURL, held.token);
    if (change(*command, kPropPatchTable, error) == Outcome::kRefused)
        return nullptr;
    return command;
}

bool VDWebDAVConnect::removeProperty(const QString &path, const QString &propName,
                                     const QString &nameSpace, ErrorOut error) {
    return putProperties(path, {{propName, QString()}}, nameSpace, {}, error) != nullptr;
}
