#include "ServerThread.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <QEventLoop>
#include <QSocketNotifier>
#include <QSslCertificate>
#include <QSslKey>

#include "HttpPeer.h"

Listener::Listener(std::shared_ptr<ServerState> sharedState) : state(std::move(sharedState)) {
    if (state->mode != TestServer::Https)
        return;
    tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificate(QSslCertificate(state->certificate.certificatePem));
    tls.setPrivateKey(QSslKey(state->certificate.keyPem, QSsl::Ec));
}

bool Listener::start() {
    if (!listen(QHostAddress::LocalHost, state->port))
        return false;
    state->port = serverPort();
    return true;
}

void Listener::forEachPeer(const std::function<void(HttpPeer &)> &action) {
    for (QObject *child : children()) {
        if (auto *peer = dynamic_cast<HttpPeer *>(child))
            action(*peer);
    }
}

void Listener::incomingConnection(qintptr descriptor) {
    auto *socket = new QSslSocket;
    socket->setSocketDescriptor(descriptor);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    int number = 0;
    bool askForCertificate = false;
    QByteArray demanded;
    {
        const std::lock_guard guard(state->mutex);
        number = ++state->connectionCount;
        ++state->openConnections;
        askForCertificate = state->askForClientCertificate;
        demanded = state->demandedCertificate;
    }
    new HttpPeer(socket, state, number, this);
    if (state->mode != TestServer::Https)
        return;
    tls.setPeerVerifyMode(askForCertificate ? QSslSocket::QueryPeer : QSslSocket::VerifyNone);
    if (!demanded.isNull()) {
        tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
        tls.setCaCertificates(QSslCertificate::fromData(demanded));
    }
    socket->setSslConfiguration(tls);
    socket->startServerEncryption();
}

ServerThread::ServerThread(std::shared_ptr<ServerState> state)
    : state(std::move(state)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    std::promise<void> started;
    thread = std::thread([this, &started] { serve(started); });
    started.get_future().wait();
}

ServerThread::~ServerThread() {
    run(nullptr);
    thread.join();
    close(wake);
}

void ServerThread::run(const std::function<void(Listener &)> &action) {
    std::future<void> done;
    {
        const std::lock_guard guard(mutex);
        work.push_back({action, {}});
        done = work.back().done.get_future();
    }
    eventfd_write(wake, 1);
    done.wait();
}

void ServerThread::serve(std::promise<void> &started) {
    QEventLoop loop;
    Listener listener(state);
    if (!listener.start())
        qFatal("the test server found no port");
    QSocketNotifier notifier(wake, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &loop, [&] {
        eventfd_t count = 0;
        eventfd_read(wake, &count);
        if (!doWork(listener))
            loop.quit();
    });
    started.set_value();
    loop.exec();
}

// False when it was told to end.
bool ServerThread::doWork(Listener &listener) {
    std::deque<Work> taken;
    {
        const std::lock_guard guard(mutex);
        taken.swap(work);
    }
    bool goOn = true;
    for (Work &item : taken) {
        if (item.action)
            item.action(listener);
        goOn = goOn && item.action;
        item.done.set_value();
    }
    return goOn;
}
