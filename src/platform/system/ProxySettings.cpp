#include "platform/system/ProxySettings.h"

#include <algorithm>

#include <QHostAddress>

namespace {

bool covers(QString entry, const QString &host) {
    if (entry == QLatin1String("*"))
        return true;
    const QHostAddress address(host);
    if (!address.isNull()) {
        const auto subnet = QHostAddress::parseSubnet(entry);
        return subnet.second >= 0 && address.isInSubnet(subnet);
    }
    if (entry.startsWith(QLatin1String("*.")))
        entry.remove(0, 1);
    if (entry.startsWith(QLatin1Char('.')))
        entry.remove(0, 1);
    return host.compare(entry, Qt::CaseInsensitive) == 0 ||
           host.endsWith(QLatin1Char('.') + entry, Qt::CaseInsensitive);
}

}  // namespace

bool ProxySettings::isExcepted(const QString &host) const {
    const bool isListed =
        std::any_of(exceptions.begin(), exceptions.end(),
                    [&host](const QString &entry) { return covers(entry, host); });
    return isListed != isReversed;
}

std::optional<ProxySettings> ProxySettings::ofSystem() {
    const QStringList desktops =
        qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    const bool isKde = desktops.contains(QLatin1String("KDE"), Qt::CaseInsensitive);
    std::optional<ProxySettings> settings;
    if (!desktops.isEmpty())
        settings = isKde ? ofKde() : ofGnome();
    return settings ? settings : ofEnvironment();
}
