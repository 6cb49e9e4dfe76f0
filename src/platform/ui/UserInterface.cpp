#include "platform/ui/UserInterface.h"

#include <atomic>

namespace {

class SilentInterface : public UserInterface {
  public:
    int runAlert(const Alert &) override { return 0; }
    bool runLogin(LoginQuestion &) override { return false; }
    void openFolder(const QString &) override {}
};

SilentInterface silent;
std::atomic<UserInterface *> installed{nullptr};

}  // namespace

UserInterface &UserInterface::current() {
    UserInterface *interface = installed;
    return interface ? *interface : silent;
}

void UserInterface::install(UserInterface *interface) {
    installed = interface;
}
