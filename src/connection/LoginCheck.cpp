#include "connection/LoginCheck.h"

#include <thread>

#include <QFileInfo>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "connection/ClientIdentitySource.h"
#include "connection/VDConnectionInfo.h"
#include "platform/net/RunLoop.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kCancelled = 22;
constexpr int kServerError = 11;

void tell(const char *key) {
    Alert alert;
    alert.title = localizedText("Common_Error_Title");
    alert.text = localizedText(key);
    alert.buttons = {localizedText("Common_Button_OK")};
    VDCommonUtils::showAlert(alert);
}

// The message for a failed discovery; null where the user has decided so.
const char *discoveryProblem(int code) {
    static const QHash<int, const char *> keys{{0, "AppDelegate_6"},  {7, "AppDelegate_9"},
                                               {18, "AppDelegate_9"}, {11, "AppDelegate_8"},
                                               {12, "AppDelegate_8"}, {kCancelled, nullptr}};
    return keys.value(code, "AppDelegate_10");
}

bool hasAllowedScheme(const QString &url) {
    return url.startsWith(QLatin1String("http:")) || url.startsWith(QLatin1String("https:"));
}

}  // namespace

const char *LoginCheck::mountPointProblem(const QString &txtMountPoint) {
    if (txtMountPoint.isNull())
        return "AppDelegate_5";

    QString folder = txtMountPoint;
    while (folder.size() >= 2 && folder.endsWith(QLatin1Char('/')))
        folder.chop(1);
    if (!folder.isEmpty() && !folder.startsWith(QLatin1Char('/')))
        return "AppDelegate_1";
    // Below the root alone there is no place for a mount.
    if (folder.count(QLatin1Char('/')) < 2)
        return "AppDelegate_2";

    const QFileInfo target(folder);
    if (target.exists())
        return target.isDir() ? nullptr : "AppDelegate_3";
    return QFileInfo(VDCommonUtils::getParentName(folder)).isDir() ? nullptr : "AppDelegate_4";
}

bool LoginCheck::findsServer(VDWebDAVConnect &session) const {
    std::optional<Error> error;
    const bool found = session.IsDAVServer(QStringLiteral(""), &error);
    if (error) {
        VDCommonUtils::outputLog(error);
        if (const char *key = discoveryProblem(isCancelled ? kCancelled : error->code))
            tell(key);
        return false;
    }
    if (!found && !isCancelled)
        tell("AppDelegate_7");
    return found && !isCancelled;
}

bool LoginCheck::findsFolder(VDWebDAVConnect &session) const {
    std::optional<Error> error;
    const bool found = session.IsCollection(QStringLiteral("/"), &error);
    VDCommonUtils::outputLog(error);
    if (isCancelled)
        return false;
    if (!found)
        tell("AppDelegate_11");
    else if (error)
        tell(error->code == kServerError ? "AppDelegate_12" : "AppDelegate_13");
    return found && !error;
}

// Aside, since the system's proxy may take seconds to work out.
std::shared_ptr<ASHttpConnectInfo> LoginCheck::parametersOf(
    const VDConnectionInfo &connectInfo) const {
    std::shared_ptr<ASHttpConnectInfo> parameters;
    bool isReady = false;
    const auto loop = RunLoop::current();
    std::thread worker([&, record = connectInfo] {
        auto made = record.makeHttpConnectinfo(proxies);
        loop->post([&parameters, &isReady, made = std::move(made)] {
            parameters = made;
            isReady = true;
        });
    });
    loop->runUntil([&isReady] { return isReady; });
    worker.join();
    return parameters;
}

void LoginCheck::cancel() {
    isCancelled = true;
    if (const auto checked = session.lock())
        checked->stopReading();
}

std::shared_ptr<VDWebDAVConnect> LoginCheck::checkLogin(VDConnectionInfo &connectInfo,
                                                        const QString &txtMountPoint) {
    const char *problem = connectInfo.chengeMountPoint ? mountPointProblem(txtMountPoint) : nullptr;
    if (!problem && !hasAllowedScheme(connectInfo.RemoteURL))
        problem = "AppDelegate_67";
    if (problem) {
        tell(problem);
        return nullptr;
    }

    const std::shared_ptr<ASHttpConnectInfo> parameters = parametersOf(connectInfo);
    if (isCancelled)
        return nullptr;
    QList<ClientIdentity> chosen;
    if (connectInfo.isUseCert.value_or(false) && connectInfo.certArr.isEmpty()) {
        chosen = identities.getClientIdentity();
        parameters->clientCertificates = chosen;
    }

    if (isCancelled)
        return nullptr;
    const auto checked = std::make_shared<VDWebDAVConnect>(parameters, connectInfo.RemoteURL);
    session = checked;
    if (!findsServer(*checked) || !findsFolder(*checked))
        return nullptr;
    if (!chosen.isEmpty())
        connectInfo.certArr = chosen;
    return checked;
}
