#pragma once

#include <functional>
#include <memory>

#include <QByteArray>
#include <QJsonObject>

class QLocalSocket;
class QString;

// One end of a talk between a command and the running instance: JSON objects, one a line. Serves
// events on the thread that made it.
class ControlChannel : public std::enable_shared_from_this<ControlChannel> {
  public:
    // A channel over a connected socket; null, with the socket closed, where its other end is not
    // this user's.
    static std::shared_ptr<ControlChannel> over(std::unique_ptr<QLocalSocket> socket);
    ~ControlChannel();
    ControlChannel(const ControlChannel &) = delete;
    ControlChannel &operator=(const ControlChannel &) = delete;

    // The same to the instance listening there; null where nobody of this user does.
    static std::shared_ptr<ControlChannel> connectTo(const QString &socketPath);

    // Called for every object in order, and once at the other side's end, after which nothing
    // comes. Either may serve events and may drop the channel.
    std::function<void(const QJsonObject &)> onMessage;
    std::function<void()> onClosed;

    void send(const QJsonObject &message);
    bool isOpen() const { return open; }
    // Ends the talk once what was sent is out.
    void close();

  private:
    explicit ControlChannel(std::unique_ptr<QLocalSocket> socket);
    void readLines();
    void end();

    const std::unique_ptr<QLocalSocket> socket;
    QByteArray incoming;
    bool open = true;
};
