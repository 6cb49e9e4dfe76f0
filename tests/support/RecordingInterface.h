#pragma once

#include <functional>

#include <QList>

#include "platform/ui/UserInterface.h"

// Stands for the person during a test: remembers what was asked and answers as told. Installed for
// as long as it lives.
class RecordingInterface : public UserInterface {
  public:
    struct Login {
        QString username;
        QString password;
    };

    RecordingInterface() { install(this); }
    ~RecordingInterface() override { install(nullptr); }

    int runAlert(const Alert &alert) override {
        alerts.append(alert);
        return onAlert ? onAlert(alert) : 0;
    }

    // Accepts with the next answer; without one it cancels.
    bool runLogin(LoginQuestion &question) override {
        logins.append(question);
        if (loginAnswers.isEmpty())
            return false;
        const Login login = loginAnswers.takeFirst();
        question.username = login.username;
        question.password = login.password;
        return true;
    }

    int runChooser(VDSSLChooserWindowController &chooser) override {
        return onChooser ? onChooser(chooser) : 0;
    }

    void openFolder(const QString &path) override { folders.append(path); }

    QString runSavePanel(const SavePanel &panel) override {
        savePanels.append(panel);
        return savePath;
    }

    QList<Alert> alerts;
    std::function<int(const Alert &)> onAlert;
    std::function<int(VDSSLChooserWindowController &)> onChooser;
    QList<LoginQuestion> logins;
    QList<Login> loginAnswers;
    QStringList folders;
    QList<SavePanel> savePanels;
    QString savePath;  // null: cancelled
};
