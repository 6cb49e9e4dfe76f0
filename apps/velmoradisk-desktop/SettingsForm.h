#pragma once

#include <memory>

#include "platform/desktop/Binder.h"

class HeldKeys;
class QMenu;
class QWidget;
class SettingsWindow;

// The settings window on the screen. Neither the window's logic nor the menu is owned; both outlive
// it.
class SettingsForm {
  public:
    SettingsForm(SettingsWindow &settings, QMenu &menu);
    ~SettingsForm();

    QWidget &widget() const { return *form; }

  private:
    void bind(SettingsWindow &settings);

    const std::unique_ptr<QWidget> form;
    const std::unique_ptr<HeldKeys> keys;
    Binder binder;
};
