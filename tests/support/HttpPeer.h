#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QObject>
#include <QPointer>
#include <QSslSocket>

#include "HttpAnswer.h"
#include "ServerState.h"

// One connection on the server's thread: reads requests, one after the other, and answers them.
class HttpPeer : public QObject {
  public:
    HttpPeer(QSslSocket *socket, std::shared_ptr<ServerState> state, int connection,
             QObject *parent);
    ~HttpPeer() override;

    void releaseStalled();
    void drop(bool reset);

  private:
    // How an answer's body goes out.
    struct Outgoing {
        Content content;
        qint64 position = 0;
        qint64 remaining = 0;  // of the content
        QByteArray filler;     // sent again and again after the content
        qint64 fillerBytes = 0;
        qint64 sent = 0;
        qint64 cutAt = -1;
        qint64 stallAt = -1;
        qint64 bytesPerSecond = 0;
        bool chunked = false;
        bool closeAfter = false;
        bool reset = false;
    };
    struct Incoming {
        RecordedRequest request;
        bool headDone = false;
        bool chunked = false;
        bool close = false;
        qint64 bodyLeft = 0;  // -1: the last chunk was read
    };

    void read();
    bool readHead();
    bool readBody();
    bool readChunk();
    bool cutsRequest();
    void record();
    void requestComplete();
    void startAnswer();
    HttpAnswer produceAnswer(bool ignoreRange);
    HttpAnswer faultyAnswer();
    void send(const HttpAnswer &answer);
    void applyXmlFault(HttpAnswer &answer, Outgoing &out) const;
    void pump();
    QByteArray nextBlock(qint64 length);
    void answerDone();
    void closeAfterWriting(bool reset);
    bool proxied();

    QSslSocket *socket;
    const std::shared_ptr<ServerState> state;
    const int connection;
    QByteArray buffer;
    Incoming incoming;
    std::optional<Fault> fault;
    std::optional<Outgoing> outgoing;
    std::function<void()> whenReleased;
    bool busy = false;     // a request is being answered
    bool closing = false;  // closed or reset as soon as all is written
    bool resetOnClose = false;
};
