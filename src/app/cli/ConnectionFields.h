#pragma once

#include <optional>

#include <QJsonObject>
#include <QList>
#include <QString>

struct CommandOption;
struct Invocation;
struct VDConnectionInfo;

// A saved connection's fields as options, and as what is shown of them. Passwords are never shown.
namespace ConnectionFields {

QList<CommandOption> options();
// Puts what the options give into the record. The exit code of a refusal, told to the person, or
// nothing.
std::optional<int> apply(const Invocation &invocation, VDConnectionInfo &record);

// The fields under their own names; a field never set is null.
QJsonObject toJson(const VDConnectionInfo &record);
// One line a field.
QStringList toLines(const VDConnectionInfo &record);

}  // namespace ConnectionFields
