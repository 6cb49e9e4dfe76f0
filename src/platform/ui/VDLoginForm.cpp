#include "platform/ui/VDLoginForm.h"

#include "common/VDCommonUtils.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/VDLoginWindowController.h"

VDLoginForm::VDLoginForm(const QString &title)
    : loginWindowCtr(std::make_unique<VDLoginWindowController>()) {
    loginWindowCtr->title = title;
    loginWindowCtr->visible = true;
}

VDLoginForm::~VDLoginForm() = default;

void VDLoginForm::setServer(const QString &host) {
    loginWindowCtr->server = host;
}

void VDLoginForm::setUsername(const QString &username) {
    loginWindowCtr->txtUsername = username;
}

void VDLoginForm::setPassword(const QString &password) {
    loginWindowCtr->txtPassword = password;
}

QString VDLoginForm::username() const {
    return loginWindowCtr->txtUsername;
}

QString VDLoginForm::password() const {
    return loginWindowCtr->txtPassword;
}

bool VDLoginForm::showForm() {
    VDLoginWindowController &window = *loginWindowCtr;
    window.visible = true;
    VDCommonUtils::execMainThread([&window] {
        LoginQuestion question{.title = window.title,
                               .username = window.txtUsername,
                               .password = window.txtPassword,
                               .server = window.server};
        if (!UserInterface::current().runLogin(question))
            return window.putCancel();
        window.txtUsername = question.username;
        window.txtPassword = question.password;
        window.putOK();
    });
    return window.modalCode == VDLoginWindowController::kOK;
}

void VDLoginForm::windowClose() {
    loginWindowCtr->visible = false;
}
