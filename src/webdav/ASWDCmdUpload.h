#pragma once

#include <memory>

#include <QIODevice>

#include "webdav/ASWDCmd.h"

// Sends bytes, from memory or from a file, which is read while it is sent and from its start again
// when the request must be repeated.
class ASWDCmdUploadBase : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;

    QByteArray requestBody;  // null: filePath
    QString filePath;
    qint64 fileLength = 0;
    qint64 contentLength = 0;  // found at sending

  protected:
    bool connect() override;

  private:
    bool readyForStream();
    void setupContentLength();

    std::unique_ptr<QIODevice> requestStream;
};

class ASWDCmdPost : public ASWDCmdUploadBase {
  public:
    using ASWDCmdUploadBase::ASWDCmdUploadBase;
    QString protocol() const override { return QStringLiteral("POST"); }
};

class ASWDCmdPut : public ASWDCmdUploadBase {
  public:
    using ASWDCmdUploadBase::ASWDCmdUploadBase;
    QString protocol() const override { return QStringLiteral("PUT"); }
};
