#pragma once

#include <optional>
#include <source_location>

#include <QList>
#include <QString>

#include "common/Error.h"

class ASWDCmd;
class VDWebDAVConnect;

// A field of the answer, its name in any case; nothing where it is absent.
std::optional<QString> answerField(const ASWDCmd &command, const QString &name);
// 0 without an answer.
int answerStatus(const ASWDCmd &command);

// What one status of an answer means to the caller of an operation.
struct StatusRow {
    enum Detail {
        kBare,       // no user dictionary
        kOutput,     // the status line under "OUTPUT"
        kRefusable,  // code 17 with the whole response header where an extension refused, else bare
    };
    int status;  // not read in StatusTable::otherwise
    int code;
    Detail detail = kBare;
};

// An operation's reading of an answer's status.
struct StatusTable {
    QList<int> success;
    QList<StatusRow> rows;
    StatusRow otherwise;

    Error errorOf(const ASWDCmd &command) const;
};

enum class Outcome {
    kSuccess,
    kRefused,   // answered, with a status that is none of success
    kNoAnswer,  // the exchange itself failed
};

// Runs the command to its end and judges its answer by the table. The error of anything but success
// goes to the caller; that of a failed exchange to the log where the caller has no place for it. A
// command that never started reads as refused with status 0.
Outcome runCommand(VDWebDAVConnect &session, ASWDCmd &command, const StatusTable &table,
                   ErrorOut error,
                   const std::source_location &operation = std::source_location::current());

// The codes on which an operation is repeated. Both server errors are in both sets, because some
// operations swap them.
inline const QList<int> kRetrySetA = {0, 11, 12};
inline const QList<int> kRetrySetB = {0, 11, 12, 15};

// Makes up to 5 attempts in direct succession, as long as they end with an error of the set. The
// last error goes to the caller, and the result is then an empty one.
template <typename Attempt>
auto withRetries(const QList<int> &codes, ErrorOut error, const Attempt &attempt)
    -> decltype(attempt(error)) {
    constexpr int kAttempts = 5;
    for (int count = 1;; ++count) {
        std::optional<Error> failure;
        auto result = attempt(&failure);
        if (!failure)
            return result;
        if (count < kAttempts && codes.contains(failure->code))
            continue;
        setError(error, *failure);
        return {};
    }
}
