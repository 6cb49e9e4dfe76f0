#pragma once

#include "webdav/ASWDCmd.h"

class ASWDCmdOptions : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;
    QString protocol() const override { return QStringLiteral("OPTIONS"); }

  protected:
    std::optional<double> timeout() const override { return 10.0; }
};

class ASWDCmdHead : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;
    QString protocol() const override { return QStringLiteral("HEAD"); }
};

class ASWDCmdDelete : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;
    QString protocol() const override { return QStringLiteral("DELETE"); }
};

class ASWDCmdMkCol : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;
    QString protocol() const override { return QStringLiteral("MKCOL"); }
};

// What COPY and MOVE have in common. "Destination" is the encoded path of destinationURL alone,
// unless requestHeader holds one of its own: standard servers want the whole URL.
class ASWDCmdDestinationBase : public ASWDCmdBase {
  public:
    using ASWDCmdBase::ASWDCmdBase;

    QUrl destinationURL;

  protected:
    bool makeRequest() override;
};

class ASWDCmdCopy : public ASWDCmdDestinationBase {
  public:
    using ASWDCmdDestinationBase::ASWDCmdDestinationBase;
    QString protocol() const override { return QStringLiteral("COPY"); }
};

class ASWDCmdMove : public ASWDCmdDestinationBase {
  public:
    using ASWDCmdDestinationBase::ASWDCmdDestinationBase;
    QString protocol() const override { return QStringLiteral("MOVE"); }
};
