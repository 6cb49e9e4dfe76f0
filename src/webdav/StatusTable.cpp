#include "webdav/StatusTable.h"

#include <algorithm>

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmd.h"
#include "webdav/VDWebDAVConnect.h"

std::optional<QString> answerField(const ASWDCmd &command, const QString &name) {
    const QVariant value =
        VDCommonUtils::getObjectFromDictionaryIgnoreCase(command.responseHeader(), name);
    return value.isValid() ? std::optional(value.toString()) : std::nullopt;
}

int answerStatus(const ASWDCmd &command) {
    return command.responseHeader().value(QStringLiteral("statusCode")).toInt();
}

Error StatusTable::errorOf(const ASWDCmd &command) const {
    const int status = answerStatus(command);
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const StatusRow &row) { return row.status == status; });
    const StatusRow &row = found == rows.end() ? otherwise : *found;

    const QVariantMap header = command.responseHeader();
    if (row.detail == StatusRow::kRefusable &&
        answerField(command, QStringLiteral("X-KQ-REFUSAL-EXTENSION")))
        return {kConnectErrorDomain, 17, header};
    const QVariant statusLine = header.value(QStringLiteral("statusString"));
    if (row.detail == StatusRow::kOutput && statusLine.isValid())
        return {kConnectErrorDomain, row.code, {{QStringLiteral("OUTPUT"), statusLine}}};
    return {kConnectErrorDomain, row.code, {}};
}

Outcome runCommand(VDWebDAVConnect &session, ASWDCmd &command, const StatusTable &table,
                   ErrorOut error, const std::source_location &operation) {
    std::optional<Error> failure;
    session.execute(command, &failure);
    if (failure) {
        if (error)
            *error = failure;
        else
            VDCommonUtils::outputLog(failure, operation);
        return Outcome::kNoAnswer;
    }
    if (table.success.contains(answerStatus(command)))
        return Outcome::kSuccess;
    setError(error, table.errorOf(command));
    return Outcome::kRefused;
}
