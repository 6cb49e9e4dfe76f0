#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QMap>
#include <QString>

#include "DavTree.h"
#include "Login.h"
#include "TestServer.h"

// All that a test and the server's thread share.
struct ServerState {
    mutable std::mutex mutex;  // guards everything below but mode, port and certificate
    mutable std::condition_variable recorded;

    TestServer::Mode mode = TestServer::Http;
    quint16 port = 0;
    Certificate certificate;

    DavTree tree;
    TestServer::Dialect dialect;
    Login login;
    Faults faults;
    std::vector<RecordedRequest> requests;
    int requestCount = 0;  // over the server's life
    int connectionCount = 0;
    int openConnections = 0;
    bool askForClientCertificate = false;
    QByteArray demandedCertificate;  // null: none is demanded
    quint16 proxyTarget = 0;

    struct AnswerHeader {
        QByteArray method;
        QString path;
        HeaderLine line;
    };
    struct PostAnswer {
        int status = 200;
        QByteArray body;
        QByteArray contentType;
    };
    bool velmora = false;
    std::vector<HeaderLine> optionsHeaders;
    std::vector<AnswerHeader> answerHeaders;
    QMap<QString, QByteArray> writableAnswers;
    QByteArray quotaAnswer;
    qint64 uploadLimit = -1;
    QList<QByteArray> refusedExtensions;
    QByteArray publicAddress;
    QMap<QString, PostAnswer> postAnswers;
};
