#include "app/cli/RunningMounts.h"

#include <QJsonArray>

#include "app/ServiceClient.h"

namespace RunningMounts {

std::optional<QJsonObject> status(UserInterface &interface) {
    ServiceClient client(interface);
    if (!client.reachRunning())
        return std::nullopt;
    return client.request({{QStringLiteral("command"), QStringLiteral("status")}});
}

bool isMounted(const QString &name, UserInterface &interface) {
    const auto told = status(interface);
    if (!told)
        return false;
    const QJsonArray mounts = told->value(QStringLiteral("mounts")).toArray();
    for (const auto &mount : mounts) {
        if (mount.toObject()[QStringLiteral("name")] == name)
            return true;
    }
    return false;
}

}  // namespace RunningMounts
