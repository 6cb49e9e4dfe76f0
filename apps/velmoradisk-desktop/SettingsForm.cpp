#include "SettingsForm.h"

#include <QKeySequence>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QWidget>

#include "HeldKeys.h"
#include "connection/SettingsWindow.h"
#include "platform/desktop/Forms.h"

SettingsForm::SettingsForm(SettingsWindow &settings, QMenu &menu)
    : form(makeForm(settings.window.name)), keys(std::make_unique<HeldKeys>(*form)), binder(*form) {
    form->setWindowFlag(Qt::WindowMinimizeButtonHint);
    form->findChild<QPushButton *>(QStringLiteral("btnMenu"))->setMenu(&menu);
    // With everything in it that is hidden at first.
    form->adjustSize();
    bind(settings);
    settings.window.isOptionHeld = [this] { return keys->isAltHeld(); };
    // Many window managers keep a click with Alt for themselves.
    const auto *const shortcut = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Return), form.get());
    QObject::connect(shortcut, &QShortcut::activated, form.get(), [this, &settings] {
        const auto held = keys->holdAlt();
        settings.btnSubmit.userPress();
    });
}

SettingsForm::~SettingsForm() = default;

void SettingsForm::bind(SettingsWindow &settings) {
#define BIND(control) binder.bind(QStringLiteral(#control), settings.control)
    BIND(TableConnectList);
    BIND(btnAdd);
    BIND(btnDelete);
    BIND(btnConnectTest);
    BIND(btnSubmit);
    BIND(btnCancel);
    BIND(viewOptionTab);
    BIND(txtConnectionName);
    BIND(txtRemoteURL);
    BIND(saveID);
    BIND(txtUsername);
    BIND(savePassword);
    BIND(txtPassword);
    BIND(chengeMountPoint);
    BIND(txtMountPoint);
    BIND(isUseProxy);
    BIND(selectConfProxy);
    BIND(txtProxyHost);
    BIND(txtProxyPort);
    BIND(isProxyAuthentication);
    BIND(txtProxyUsername);
    BIND(txtProxyPassword);
    BIND(selectDivideSize);
    BIND(isUseCert);
    BIND(btnSelectCert);
    BIND(isAllowSelfsign);
    BIND(isAutoMount);
    BIND(txtBusy);
    BIND(btnStop);
#undef BIND
    binder.bindWindow(settings.window);
}
