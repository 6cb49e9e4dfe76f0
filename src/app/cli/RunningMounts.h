#pragma once

#include <optional>

#include <QJsonObject>
#include <QString>

class UserInterface;

// What the running instance, if there is one, has mounted.
namespace RunningMounts {

// The instance's status; nothing where none runs.
std::optional<QJsonObject> status(UserInterface &interface);
bool isMounted(const QString &name, UserInterface &interface);

}  // namespace RunningMounts
