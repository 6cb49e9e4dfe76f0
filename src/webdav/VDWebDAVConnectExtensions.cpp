// What the vendor's server adds to WebDAV, carried by ordinary methods with X-KQ fields as the
// verb. Where the server is another, or too old, these give a neutral result and no error.

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/ASWDCmdUpload.h"
#include "webdav/Namespaces.h"
#include "webdav/ServerCollectionContainer.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"
#include "webdav/WebPublicParameter.h"
#include "xml/ASXMLDomParser.h"

namespace {

const QString kParseFailure = QStringLiteral("Failure XMX PARSE");
const QString kXmlHeader = QStringLiteral("<?xml version=\"1.0\" encoding=\"utf-8\" ?>");

const StatusTable kAclTable = {{200},
                               {{400, 18},
                                {401, 1},
                                {403, 7},
                                {404, 6},
                                {405, 19, StatusRow::kOutput},
                                {409, 9, StatusRow::kOutput},
                                {500, 11, StatusRow::kOutput},
                                {503, 12, StatusRow::kOutput}},
                               {0, 13, StatusRow::kOutput}};
const StatusTable kReportTable = {
    {200, 207}, {{401, 1}, {403, 7}, {404, 6}}, {0, 13, StatusRow::kOutput}};
const StatusTable kPostTable = {{200},
                                {{400, 18, StatusRow::kOutput},
                                 {401, 1},
                                 {403, 7},
                                 {404, 6},
                                 {405, 19, StatusRow::kOutput},
                                 {409, 9, StatusRow::kOutput},
                                 {500, 11, StatusRow::kOutput},
                                 {503, 12, StatusRow::kOutput}},
                                {0, 13}};

}  // namespace

bool VDWebDAVConnect::fileSetReadOnly(const QString &path, bool setReadOnly, ErrorOut error) {
    if (!isVelmora(path, nullptr) || !VDCommonUtils::versionCheck(velmoraVersion, "2.13", {}))
        return false;
    const auto command = std::make_shared<ASWDCmdAcl>(itemUrl(path), coninfo);
    const QString verb =
        setReadOnly ? QStringLiteral("X-KQ-SET-READONLY") : QStringLiteral("X-KQ-CANCEL-READONLY");
    command->requestHeader = {{verb, QStringLiteral("")}};
    command->requestBody = kXmlHeader + QStringLiteral("<D:acl  xmlns:D=\"DAV:\"></D:acl >");
    return runCommand(*this, *command, kAclTable, error) == Outcome::kSuccess;
}

CommandPtr VDWebDAVConnect::getFileVersioning(const QString &path, const QStringList &propName,
                                              ErrorOut error) {
    QString names;
    for (const QString &name : propName)
        names += QStringLiteral("<D:%1/>").arg(name);
    const auto command = std::make_shared<ASWDCmdReport>(itemUrl(path), coninfo);
    // The command sends no fields at all, this one included.
    command->requestHeader = {{QStringLiteral("Depth"), QStringLiteral("0")}};
    command->requestBody = kXmlHeader +
                           QStringLiteral("<D:version-tree  xmlns:D=\"DAV:\"><D:prop>") + names +
                           QStringLiteral("</D:prop><D:allprop/></D:version-tree>");
    const Outcome outcome = runCommand(*this, *command, kReportTable, error);
    return outcome == Outcome::kRefused ? nullptr : command;
}

QString VDWebDAVConnect::getQuotaString(const QString &path, ErrorOut error) {
    const QString none = QStringLiteral("");
    if (!isVelmora(path, error))
        return none;
    const QString query = QStringLiteral("X-KQ-GET-QUOTA");
    const CommandPtr command = getItemProperty(path, {QStringLiteral("displayname")},
                                               {kDavNamespaceURI}, {{query, none}}, error);
    return command ? answerField(*command, query).value_or(none) : none;
}

std::shared_ptr<ServerCollectionContainer> VDWebDAVConnect::getServerDefault(const QString &path,
                                                                             bool isDelivery,
                                                                             ErrorOut error) {
    return withRetries(kRetrySetA, error, [&](ErrorOut failure) {
        return getServerDefaultInternal(path, isDelivery, failure);
    });
}

std::shared_ptr<ServerCollectionContainer> VDWebDAVConnect::getServerDefaultInternal(
    const QString &path, bool isDelivery, ErrorOut error) {
    if (!isVelmora(path, error) || !VDCommonUtils::versionCheck(velmoraVersion, "2.13", {}))
        return nullptr;
    const HeaderFields headers = {{QStringLiteral("X-KQ-QUERY-DEFAULT-PROP"),
                                   isDelivery ? QStringLiteral("u") : QStringLiteral("w")}};
    std::optional<Error> failure;
    const CommandPtr command = getItemProperty(path, {QStringLiteral("displayname")},
                                               {kDavNamespaceURI}, headers, &failure);
    if (failure)
        setError(error, *failure);
    if (failure || !command)
        return nullptr;
    const auto parser = parsedBody(*command, kParseFailure, error);
    if (!parser)
        return nullptr;
    const auto container = ServerCollectionContainer::createFromXml(*parser);
    container->velmoraVersion = velmoraVersion;
    return container;
}

std::shared_ptr<WebPublicParameter> VDWebDAVConnect::getWebPublicParameter(const QString &path,
                                                                           ErrorOut error) {
    const CommandPtr command = getItemProperty(path, WebPublicParameter::getProperties(),
                                               WebPublicParameter::getNamespaces(), error);
    if (!command)
        return nullptr;
    const auto parser = parsedBody(*command, kParseFailure, error);
    if (!parser)
        return nullptr;
    // Where the text is broken, what could be read is returned beside the parser's error.
    if (parser->error)
        setError(error, *parser->error);
    return WebPublicParameter::createFromXML(*parser);
}

QByteArray VDWebDAVConnect::postMethod(const QString &url, const QVariantMap &paramsData,
                                       ErrorOut error) {
    return withRetries(kRetrySetA, error, [&](ErrorOut failure) {
        return postMethodInternal(url, paramsData, failure);
    });
}

QByteArray VDWebDAVConnect::postMethodInternal(const QString &url, const QVariantMap &paramsData,
                                               ErrorOut error) {
    Q_ASSERT(!paramsData.isEmpty());
    // The values aren't sent, and nobody calls this yet. The first caller must have them looked up
    // by their keys here, and escaped.
    QStringList parameters;
    for (const QString &key : paramsData.keys())
        parameters += key + QStringLiteral("=(null)");
    const auto command = std::make_shared<ASWDCmdPost>(QUrl(url), coninfo);
    command->requestBody = parameters.join(QLatin1Char('&')).toUtf8();
    if (runCommand(*this, *command, kPostTable, error) != Outcome::kSuccess)
        return {};
    return command->responseBody;
}
