#include "fs/UploadFailure.h"

#include <algorithm>
#include <iterator>

#include "common/Text.h"
#include "common/VDCommonUtils.h"

namespace {

constexpr int kOutOfSpace = 10;
constexpr int kRefusedByExtension = 17;

struct Cause {
    int code;
    const char *key;
    enum Arguments { kPath, kPathAndName } arguments;
    bool deletesEmptyOriginal;
};

constexpr Cause kCauses[] = {
    {0, "VelmoraDisk_5", Cause::kPathAndName, false},
    {1, "VelmoraDisk_0", Cause::kPath, true},
    {3, "VelmoraDisk_4", Cause::kPathAndName, true},
    {5, "VelmoraDisk_4", Cause::kPathAndName, true},
    {10, "VelmoraDisk_6", Cause::kPath, true},
    {11, "VelmoraDisk_2", Cause::kPathAndName, true},
    {12, "VelmoraDisk_2", Cause::kPathAndName, true},
    {20, "VelmoraDisk_3", Cause::kPath, true},
    {23, "VelmoraDisk_10", Cause::kPath, true},
};
constexpr Cause kOther = {-1, "VelmoraDisk_7", Cause::kPathAndName, false};

const Cause &causeOf(const Error &error) {
    const auto found =
        std::find_if(std::begin(kCauses), std::end(kCauses),
                     [&](const Cause &cause) { return error.is(kConnectErrorDomain, cause.code); });
    return found == std::end(kCauses) ? kOther : *found;
}

// Files that file managers write beside the user's: nobody misses them on a full server.
bool isCompanionFile(const QString &path) {
    return path.endsWith(QLatin1String("/.DS_Store")) ||
           VDCommonUtils::lastPathComponent(path).startsWith(QLatin1String("._"));
}

QString refusalMessage(const Error &error) {
    if (error.userInfo.isEmpty())
        return localizedText("VelmoraDisk_9");
    return localizedText("VelmoraDisk_1",
                         VDCommonUtils::getObjectFromDictionaryIgnoreCase(
                             error.userInfo, QStringLiteral("X-KQ-REFUSAL-EXTENSION"))
                             .toString());
}

}  // namespace

QString UploadFailure::message(const QString &fullPath, const QString &path,
                               const QString &connectionName) const {
    const bool isFull = quotaFull || (error && error->is(kConnectErrorDomain, kOutOfSpace));
    if (isFull)
        return isCompanionFile(path) ? QString() : localizedText("VelmoraDisk_6", fullPath);
    if (!error)
        return {};
    if (error->is(kConnectErrorDomain, kRefusedByExtension))
        return refusalMessage(*error);
    const Cause &cause = causeOf(*error);
    if (cause.arguments == Cause::kPath)
        return localizedText(cause.key, fullPath);
    return localizedText(cause.key, fullPath, connectionName);
}

bool UploadFailure::deletesEmptyOriginal() const {
    if (quotaFull || !error)
        return false;
    return error->is(kConnectErrorDomain, kRefusedByExtension) ||
           causeOf(*error).deletesEmptyOriginal;
}

bool UploadFailure::isServersOwnWord() const {
    static constexpr int kOthers[] = {0, 3, 5};
    return quotaFull ||
           (error && std::none_of(std::begin(kOthers), std::end(kOthers),
                                  [&](int code) { return error->is(kConnectErrorDomain, code); }));
}
