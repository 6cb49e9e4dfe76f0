#pragma once

#include "platform/ui/UserInterface.h"

class Console;

// Alerts and login forms as lines and prompts. Without somebody to answer, a question counts as
// cancelled, and the message says which option would have answered it.
class ConsoleInterface : public UserInterface {
  public:
    explicit ConsoleInterface(Console &console) : console(console) {}

    int runAlert(const Alert &alert) override;
    bool runLogin(LoginQuestion &question) override;
    int runChooser(VDSSLChooserWindowController &chooser) override;
    void openFolder(const QString &) override {}
    std::unique_ptr<ProgressPanel> makeProgressPanel(const QString &windowName) override;

    // Whether a person was told anything since the start; a failure that was told needs no second
    // message.
    bool hasTold() const { return told; }

    // A login was given before anything is asked: a question for one means that it was refused.
    void noteGivenLogin() { isLoginGiven = true; }

  private:
    int choose(const Alert &alert);
    bool askPassphrase(LoginQuestion &question);

    Console &console;
    bool told = false;
    bool isLoginGiven = false;
};
