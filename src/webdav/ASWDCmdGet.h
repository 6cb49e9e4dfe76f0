#pragma once

#include <memory>

#include <QIODevice>

#include "webdav/ASWDCmd.h"

// Hands the body of a 2xx answer to responseStream and drops any other.
class ASWDCmdGetStream : public ASWDCmd {
  public:
    using ASWDCmd::ASWDCmd;

    std::unique_ptr<QIODevice> responseStream;

    QString protocol() const override { return QStringLiteral("GET"); }

  protected:
    Reading connectionHandleBytes(ASHttpConnection &connection, const char *bytes,
                                  qint64 length) override;
    void willEnd() override;
    virtual bool isWanted(int status) const { return status >= 200 && status <= 299; }
    // The start of the exchange, then of the file: a request that can't start leaves it alone.
    bool executeInto(const QString &path);

  private:
    qint64 droppedBytes = 0;
};

// To a local file, replacing it.
class ASWDCmdGet : public ASWDCmdGetStream {
  public:
    using ASWDCmdGetStream::ASWDCmdGetStream;

    QUrl localFile;

    bool execute() override;
};

// To a local file, or to memory. Answers other than 200 and 206 are dropped.
class ASWDCmdGetImpl : public ASWDCmdGetStream {
  public:
    using ASWDCmdGetStream::ASWDCmdGetStream;
    ASWDCmdGetImpl(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo,
                   const QString &encryptKey);

    // Stored for the caller; bytes are delivered as the server sent them.
    QString encryptKey;
    QByteArray encryptDatas;
    QString localfile;        // null: to memory
    QByteArray responseData;  // the bytes, without localfile; at most ASWDCmdBase::maximumBody
    // The bytes asked for with a Range field, -1: not told. Of a 200 (the file from its first byte)
    // only those within are kept, and the exchange ends well once they are all there. A 206 that
    // starts elsewhere is an error 32768.
    qint64 wantedStart = -1;
    qint64 wantedLength = -1;

    bool execute() override;
    // Gives localfile the dates that the answer tells. A failure is of no consequence.
    void applyServerDates() const;

  protected:
    Reading connectionHandleBytes(ASHttpConnection &connection, const char *bytes,
                                  qint64 length) override;
    void willEnd() override;
    bool isWanted(int status) const override { return status == 200 || status == 206; }

  private:
    bool beginBody(ASHttpConnection &connection);

    QByteArray memory;
    bool bodyBegun = false;
    qint64 position = 0;            // in the server's file, of the next byte to come
    std::optional<qint64> bodyEnd;  // in the server's file, where announced
};
