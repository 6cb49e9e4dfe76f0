#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QHash>
#include <QJsonObject>

#include "platform/ui/UserInterface.h"

class ControlChannel;

// Takes messages and questions to the terminal of the command that caused them. Without such a
// command they go to this process's own terminal, or, in the background, wait for the next one who
// asks for the status.
class RelayInterface : public UserInterface {
  public:
    // local: this process's own interface, not owned; null in the background.
    explicit RelayInterface(UserInterface *local) : local(local) {}

    // The command that causes what comes now; null for none.
    void attach(std::shared_ptr<ControlChannel> command) { channel = std::move(command); }
    // An answer that came in.
    void takeAnswer(const QJsonObject &answer);
    // Hears of every message about a volume, shown or kept.
    std::function<void(const Alert &alert)> volumeTold;
    // Every question, now and from now on, counts as cancelled.
    void cancelQuestions() { isCancelled = true; }

    int runAlert(const Alert &alert) override;
    void keepMessage(const Alert &alert) override;
    bool runLogin(LoginQuestion &question) override;
    int runChooser(VDSSLChooserWindowController &chooser) override;
    void openFolder(const QString &path) override;
    QString runSavePanel(const SavePanel &panel) override;
    std::unique_ptr<ProgressPanel> makeProgressPanel(const QString &name) override;

  private:
    bool hasCommand() const;
    void noteVolume(const Alert &alert) const;
    static void keep(const Alert &alert);
    std::optional<QJsonObject> ask(QJsonObject question);

    UserInterface *const local;
    std::shared_ptr<ControlChannel> channel;
    int lastQuestion = 0;
    QHash<int, QJsonObject> answers;
    bool isCancelled = false;
};
