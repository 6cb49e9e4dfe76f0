#pragma once

#include <memory>

#include <QString>

class ASHttpConnectInfo;
class ClientIdentitySource;
class SystemProxySource;
class VDWebDAVConnect;
struct VDConnectionInfo;

// The one road from a saved record to a session that is ready for use. Main thread.
class LoginCheck {
  public:
    // Both are used during checkLogin, not owned.
    LoginCheck(const SystemProxySource &proxies, ClientIdentitySource &identities)
        : proxies(proxies), identities(identities) {}

    // Checks the mount point, the URL and the server, asking the user for a login and tells why it
    // failed. Null on failure. txtMountPoint is the mount point as the settings show it, looked at
    // only when the record has one of its own. An identity chosen on the way is kept in the record;
    // what the user entered is in the session's coninfo.
    std::shared_ptr<VDWebDAVConnect> checkLogin(VDConnectionInfo &connectInfo,
                                                const QString &txtMountPoint);
    // Makes a checkLogin under way fail without a message.
    void cancel();

    // The key of the message why nothing can be mounted there, null when it can.
    static const char *mountPointProblem(const QString &txtMountPoint);

  private:
    const SystemProxySource &proxies;
    ClientIdentitySource &identities;
    std::weak_ptr<VDWebDAVConnect> session;  // being checked
    bool isCancelled = false;

    std::shared_ptr<ASHttpConnectInfo> parametersOf(const VDConnectionInfo &connectInfo) const;
    bool findsServer(VDWebDAVConnect &session) const;
    bool findsFolder(VDWebDAVConnect &session) const;
};
