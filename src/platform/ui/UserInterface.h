#pragma once

#include <memory>

#include <QString>
#include <QStringList>

#include "platform/ui/ProgressPanel.h"

struct VDSSLChooserWindowController;

// A question or a message as the program sees it, whatever draws it.
struct Alert {
    QString title;
    QString text;
    QString informativeText;
    // buttons[0] is the default, the one a cancelled or unanswered alert counts as.
    QStringList buttons;
    QString volume = {};  // the name of the volume it is about; null for none
};

// What a login form holds. The title is empty for a server's form.
struct LoginQuestion {
    QString title;
    QString username;
    QString password;
    bool isPassphrase = false;  // there is no user name to ask for
    QString server = {};        // the host that asks; empty where it isn't known
};

struct SavePanel {
    QString title;
    QString folder;
    QString proposedName;
};

// The one road from the program's logic to a person. All calls come on the main thread; worker
// threads go through VDCommonUtils::showAlert and execMainThread.
class UserInterface {
  public:
    virtual ~UserInterface() = default;

    static constexpr int kUnseen = -1;

    // Runs the alert until it is answered; the index of the chosen button. 0 where nobody can
    // answer, kUnseen for a mere message that nobody can see any more.
    virtual int runAlert(const Alert &alert) = 0;
    // A message that isn't shown, since too many wait.
    virtual void keepMessage(const Alert &) {}
    // Shows a login form filled with the question and waits; true with the fields changed when it
    // was accepted, false when it was cancelled or nobody can answer.
    virtual bool runLogin(LoginQuestion &question) = 0;
    // Shows the chooser of client identities and waits; its modal run's code, 0 where nobody can
    // answer.
    virtual int runChooser(VDSSLChooserWindowController &) { return 0; }
    // Opens a folder in the user's file viewer, where there is one.
    virtual void openFolder(const QString &path) = 0;
    // Asks for the path of a file to write, proposing a name in a folder; null when that was
    // cancelled or nobody can answer.
    virtual QString runSavePanel(const SavePanel &) { return {}; }
    // The progress window of that name, not yet visible; null where nobody looks.
    virtual std::unique_ptr<ProgressPanel> makeProgressPanel(const QString &) { return nullptr; }

    // The interface of this process; never null. Before install() it is one that answers nothing.
    static UserInterface &current();
    // Not owned. Null puts the silent one back.
    static void install(UserInterface *interface);
};
