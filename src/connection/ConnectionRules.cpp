#include "connection/ConnectionRules.h"

#include <algorithm>

#include "common/VDCommonUtils.h"
#include "connection/VDConnectionInfo.h"

namespace ConnectionRules {

namespace {

constexpr qsizetype kNameLimit = 255;  // bytes; the name becomes a folder

bool isControl(QChar character) {
    return character.category() == QChar::Other_Control;
}

}  // namespace

const char *nameProblem(const QString &name) {
    if (name.isEmpty() || name == kUnnamed)
        return "AppDelegate_56";
    if (name.contains(QLatin1Char('/')) || name == QStringLiteral(".") ||
        name == QStringLiteral("..") || std::any_of(name.begin(), name.end(), isControl))
        return "AppDelegate_57";
    return name.toUtf8().size() > kNameLimit ? "Cli_NameTooLong" : nullptr;
}

bool isSameName(const QString &name, const QString &other) {
    return name.normalized(QString::NormalizationForm_C) ==
           other.normalized(QString::NormalizationForm_C);
}

QString placeOf(const VDConnectionInfo &record) {
    return record.mountPoint.isEmpty() ? QStringLiteral("/Volumes/") + record.connectionName
                                       : record.mountPoint;
}

bool doPlacesClash(const VDConnectionInfo &record, const VDConnectionInfo &other) {
    const QString place = placeOf(record);
    const QString otherPlace = placeOf(other);
    return VDCommonUtils::isEqualPathOrSubPath(place, otherPlace) ||
           VDCommonUtils::isEqualPathOrSubPath(otherPlace, place);
}

}  // namespace ConnectionRules
