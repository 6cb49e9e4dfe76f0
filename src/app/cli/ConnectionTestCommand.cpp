// connection test: the login of a saved connection, and nothing else of it.

#include "app/AppDelegate.h"
#include "app/cli/Command.h"
#include "app/cli/Credentials.h"
#include "common/Text.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDConnectionInfo.h"
#include "connection/VDSSLCertificate.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

int test(const Invocation &invocation) {
    if (!invocation.readSettings())
        return kFailed;
    const auto record = VDConnectionInfo::loadConnectInfo(invocation.arguments[0]);
    if (!record)
        return invocation.fail(localizedText("Cli_NoConnection", invocation.arguments[0]));
    if (invocation.has("user"))
        record->username = invocation.value("user");
    if (invocation.has("password-stdin")) {
        const auto password = newPassword(invocation, "password-stdin", "Cli_PromptPassword");
        if (!password)
            return kFailed;
        record->password = *password;
    }
    if (!record->username.isEmpty() && !record->password.isEmpty())
        invocation.interface.noteGivenLogin();
    if (invocation.has("accept-certificate"))
        record->isAllowSelfsign = true;

    AppDelegate::joinLog();
    const VDAutoProxySetting proxies;
    VDSSLCertificate identities;
    UserInterface::install(&invocation.interface);
    const bool isReady = AppDelegate::create(proxies, identities)->checkLogin(*record) != nullptr;
    UserInterface::install(nullptr);
    if (!isReady)
        return invocation.failTold({});
    invocation.console.print(localizedText("AppDelegate_53"));
    return kDone;
}

}  // namespace

QList<Command> connectionTestCommands() {
    return {{"connection test",
             "NAME",
             1,
             1,
             "Cli_Command_Test",
             {{"user", "USER", "Cli_Option_UserOnce"},
              {"password-stdin", nullptr, "Cli_Option_PasswordStdinOnce"},
              {"accept-certificate", nullptr, "Cli_Option_AcceptCertificate"}},
             test}};
}
