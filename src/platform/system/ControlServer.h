#pragma once

#include <functional>
#include <memory>

class ControlChannel;
class QLocalServer;
class QString;

// Where the running instance is reached: a socket that only this user can open.
class ControlServer {
  public:
    explicit ControlServer(std::function<void(std::shared_ptr<ControlChannel>)> newChannel);
    // Stops listening and removes the socket.
    ~ControlServer();
    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

    // Only for who holds the instance's lock: a socket lying there is taken for a dead one's.
    bool listen(const QString &socketPath);

  private:
    std::unique_ptr<QLocalServer> server;
};
