#pragma once

#include <optional>

#include <QString>

struct Invocation;

// A new password, from standard input for --password-stdin, else typed twice without echo. Nothing,
// after a message, where there is none. `option` is the name of the option for standard input.
std::optional<QString> newPassword(const Invocation &invocation, const char *option,
                                   const char *promptKey);

// A path as it was typed, made absolute; a null text stays null.
QString absolutePath(const QString &typed);

// Why the value of --mount-point can't be a mount point wherever that is looked at, as a key of a
// text; null where it can, or isn't given.
const char *mountPointProblem(const Invocation &invocation);
