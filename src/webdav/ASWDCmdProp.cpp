#include "webdav/ASWDCmdProp.h"

#include <utility>

namespace {

constexpr int kXmlFailure = 32769;

QString lockBody(const QString &ownerHREF) {
    return QStringLiteral(
               R"(<?xml version="1.0" encoding="utf-8" ?><lockinfo xmlns:D="DAV:">)"
               "<d:lockscope><d:exclusive/></d:lockscope><d:locktype><d:write/></d:locktype>"
               "<d:owner><d:href>%1</d:href></d:owner></loclinfo>")
        .arg(ownerHREF);
}

}  // namespace

void ASWDCmdPropBase::parserDidFinishDocument(ASXMLDomParser &parser) {
    responseRootNode = parser.rootElement;
    fireCompleted();
}

void ASWDCmdPropBase::parserError(ASXMLDomParser &) {
    fail(kXmlFailure);
}

ASWDCmdPropFind::ASWDCmdPropFind(const QUrl &remoteURL,
                                 std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : ASWDCmdPropBase(remoteURL, std::move(connectInfo)), depth(1) {
    requestBody = QStringLiteral(
        R"(<?xml version="1.0" encoding="utf-8" ?><D:propfind xmlns:D="DAV:"><D:allprop/>)"
        "<D:include><D:supported-live-property-set/><D:supported-report-set/></D:include>"
        "</D:propfind>");
}

bool ASWDCmdPropFind::makeRequest() {
    const bool made = ASWDCmdPropBase::makeRequest();
    if (depth)
        connection()->setHeaderField(QStringLiteral("Depth"), QString::number(*depth));
    return made;
}

ASWDCmdLock::ASWDCmdLock(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : ASWDCmdPropBase(remoteURL, std::move(connectInfo)) {
    requestBody = lockBody(ownerHREF);
}

ASWDCmdUnlock::ASWDCmdUnlock(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : ASWDCmdRequestBase(remoteURL, std::move(connectInfo)) {
    requestBody = QStringLiteral("");
}

bool ASWDCmdUnlock::makeRequest() {
    const bool made = ASWDCmdRequestBase::makeRequest();
    connection()->setHeaderField(QStringLiteral("Lock-Token"), lockToken);
    return made;
}

ASWDCmdReport::ASWDCmdReport(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : ASWDCmdPropBase(remoteURL, std::move(connectInfo)) {
    requestBody = QStringLiteral("");
}

bool ASWDCmdReport::makeRequest() {
    connection()->makeRequestWithURL(remoteURL, protocol());
    return true;
}

ASWDCmdAcl::ASWDCmdAcl(const QUrl &remoteURL, std::shared_ptr<ASHttpConnectInfo> connectInfo)
    : ASWDCmdPropBase(remoteURL, std::move(connectInfo)) {
    requestBody = QStringLiteral("");
}
