#pragma once

#include <functional>

#include <QList>

#include "platform/ui/UserInterface.h"

class QDialog;

// Messages and questions as windows. A call returns once its window is answered, and serves events
// until then.
class DesktopInterface : public UserInterface {
  public:
    // A message that was closed unread by closeAll().
    std::function<void(const Alert &)> unread;

    int runAlert(const Alert &alert) override;
    bool runLogin(LoginQuestion &question) override;
    int runChooser(VDSSLChooserWindowController &chooser) override;
    void openFolder(const QString &path) override;
    QString runSavePanel(const SavePanel &panel) override;
    std::unique_ptr<ProgressPanel> makeProgressPanel(const QString &windowName) override;

    // Cancels every question that is open; messages stay until they are read.
    void cancelQuestions();
    // The same, and nobody is there to read the messages.
    void closeAll();

  private:
    enum class Kind { Message, Question };
    struct Open {
        QDialog *dialog;
        Kind kind;
    };
    void run(QDialog &dialog, Kind kind);

    QList<Open> opened;
    bool isClosing = false;
};
