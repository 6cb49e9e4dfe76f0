#pragma once

#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include <QSslConfiguration>
#include <QTcpServer>

#include "ServerState.h"

class HttpPeer;

// Accepts connections on the server's thread.
class Listener : public QTcpServer {
  public:
    explicit Listener(std::shared_ptr<ServerState> state);
    // Listens on the state's port, or finds one and stores it there.
    bool start();
    void forEachPeer(const std::function<void(HttpPeer &)> &action);

  protected:
    void incomingConnection(qintptr descriptor) override;

  private:
    const std::shared_ptr<ServerState> state;
    QSslConfiguration tls;
};

// The thread with the server's event loop.
class ServerThread {
  public:
    explicit ServerThread(std::shared_ptr<ServerState> state);
    ~ServerThread();

    // Runs the action on the thread and waits for its end.
    void run(const std::function<void(Listener &)> &action);

  private:
    struct Work {
        std::function<void(Listener &)> action;
        std::promise<void> done;
    };
    void serve(std::promise<void> &started);
    bool doWork(Listener &listener);

    const std::shared_ptr<ServerState> state;
    std::mutex mutex;  // guards work
    std::deque<Work> work;
    const int wake;  // an eventfd
    std::thread thread;
};
