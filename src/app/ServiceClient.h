#pragma once

#include <memory>
#include <optional>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

class ControlChannel;
class ProgressPanel;
class UserInterface;

// A command's way to the running instance, whose questions it asks here. Main thread.
class ServiceClient {
  public:
    // The interface of the command's own terminal, not owned.
    explicit ServiceClient(UserInterface &interface);
    ~ServiceClient();
    ServiceClient(const ServiceClient &) = delete;
    ServiceClient &operator=(const ServiceClient &) = delete;

    // Reaches the instance, starting one if there is none. The message why not, null when reached.
    QString reach();
    // Reaches the instance if there is one.
    bool reachRunning();
    // Sends a request and serves questions until its result; nothing when the instance ended first.
    std::optional<QJsonObject> request(const QJsonObject &request);
    // After a request with "stay": serves messages until the mount or the instance has ended. A
    // signal unmounts first. What was told of the volume while it ended.
    QJsonArray stay(const QString &mountedName);

  private:
    bool connectNow();
    void take(const QJsonObject &message);
    void takeAlert(const QJsonObject &message);
    void takeLogin(const QJsonObject &message);
    void takeChooser(const QJsonObject &message);
    void takeProgress(const QJsonArray &uploads);
    void answer(const QJsonObject &question, QJsonObject answer);

    UserInterface &interface;
    std::shared_ptr<ControlChannel> channel;
    std::unique_ptr<ProgressPanel> panel;  // null while nothing is uploaded
    bool isGreeted = false;
    std::optional<QJsonArray> toldAtEnd;  // once the mount that is awaited has ended
    std::optional<QJsonObject> result;
};
