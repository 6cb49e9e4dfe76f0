// service: the background instance. Commands start it themselves; it is not for people.

#include "app/MountService.h"
#include "app/cli/Command.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDSSLCertificate.h"

namespace {

int serve(const Invocation &) {
    ServiceLauncher::detach();
    const VDAutoProxySetting proxies;
    VDSSLCertificate identities;
    MountService service(proxies, identities, nullptr);
    const ServiceLauncher::Launch launch = service.begin();
    ServiceLauncher::tellStarter(launch.answer, launch.reason);
    if (launch.answer != ServiceLauncher::Answer::Ready)
        return kFailed;
    service.run();
    return kDone;
}

}  // namespace

QList<Command> serviceCommands() {
    return {{"service", "", 0, 0, nullptr, {}, serve}};
}
