#pragma once

#include <optional>

#include "webdav/ASWDCmd.h"
#include "xml/ASXMLDomParser.h"

// Commands with an XML body. They don't parse the answer: callers do, from responseBody. As the
// delegate of a parser that is fed while the answer comes, a command would end with the document.
class ASWDCmdPropBase : public ASWDCmdRequestBase, public ASXMLDomParserDelegate {
  public:
    using ASWDCmdRequestBase::ASWDCmdRequestBase;

    ASXMLDomNodePtr responseRootNode;

    void parserDidFinishDocument(ASXMLDomParser &parser) override;
    void parserError(ASXMLDomParser &parser) override;
};

class ASWDCmdPropFind : public ASWDCmdPropBase {
  public:
    // Asks for all properties at depth 1 unless changed.
    ASWDCmdPropFind(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);

    std::optional<int> depth;

    QString protocol() const override { return QStringLiteral("PROPFIND"); }

  protected:
    bool makeRequest() override;
    std::optional<double> timeout() const override { return 20.0; }
};

class ASWDCmdPropPatch : public ASWDCmdPropBase {
  public:
    using ASWDCmdPropBase::ASWDCmdPropBase;
    QString protocol() const override { return QStringLiteral("PROPPATCH"); }
};

class ASWDCmdLock : public ASWDCmdPropBase {
  public:
    // The default body isn't well-formed; every caller replaces it.
    ASWDCmdLock(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);

    QString ownerHREF;

    QString protocol() const override { return QStringLiteral("LOCK"); }
};

class ASWDCmdUnlock : public ASWDCmdRequestBase {
  public:
    ASWDCmdUnlock(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);

    QString lockToken;  // with its angle brackets

    QString protocol() const override { return QStringLiteral("UNLOCK"); }

  protected:
    bool makeRequest() override;
};

// The method goes out in mixed case and no field at all is added, not even those of requestHeader:
// the vendor's server answers this form.
class ASWDCmdReport : public ASWDCmdPropBase {
  public:
    ASWDCmdReport(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);
    QString protocol() const override { return QStringLiteral("Report"); }

  protected:
    bool makeRequest() override;
};

class ASWDCmdAcl : public ASWDCmdPropBase {
  public:
    ASWDCmdAcl(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo);
    QString protocol() const override { return QStringLiteral("ACL"); }
};
