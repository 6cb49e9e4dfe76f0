// Reading the server's tree by PROPFIND and HEAD. The reads return the finished command, whose body
// the caller parses.

#include <utility>

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/ASWDCmdProp.h"
#include "webdav/Namespaces.h"
#include "webdav/PropertyWalk.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"
#include "xml/ASXMLDomParser.h"

namespace {

constexpr int kNotFound = 6;
constexpr int kParseFailure = 15;
constexpr int kEmptyUrl = 16;

const QList<StatusRow> kReadRows = {
    {400, 18, StatusRow::kOutput}, {401, 1}, {403, 7}, {404, 6}, {500, 11, StatusRow::kOutput},
    {503, 12, StatusRow::kOutput}};
const StatusTable kReadTable = {{207}, kReadRows, {0, 13, StatusRow::kOutput}};
const StatusTable kBareReadTable = {{207}, kReadRows, {0, 13}};
const StatusTable kItemReadTable = {{200, 207}, kReadRows, {0, 13, StatusRow::kOutput}};
const StatusTable kHeadTable = {
    {200},
    kReadRows + QList<StatusRow>{{405, 19}, {409, 9, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput}};

const QString kXmlHeader = QStringLiteral("<?xml version=\"1.0\" encoding=\"utf-8\" ?>");

QString davPropFind(const QString &inner) {
    return kXmlHeader + QStringLiteral("<D:propfind xmlns:D=\"DAV:\">") + inner +
           QStringLiteral("</D:propfind>");
}

QString namedPropFind(const QStringList &propNames, const QStringList &nameSpaces) {
    QMap<QString, QString> prefixes = {{kDavNamespaceURI, QStringLiteral("D")}};
    QString declarations;
    char16_t nextPrefix = u'E';
    QString properties;
    for (qsizetype at = 0; at < propNames.size(); ++at) {
        const QString nameSpace = nameSpaces.value(at);
        if (!prefixes.contains(nameSpace)) {
            prefixes[nameSpace] = QChar(nextPrefix++);
            declarations += QStringLiteral(" xmlns:%1=\"%2\"").arg(prefixes[nameSpace], nameSpace);
        }
        properties += QStringLiteral("<%1:%2/>").arg(prefixes[nameSpace], propNames[at]);
    }
    return kXmlHeader + QStringLiteral("<D:propfind xmlns:D=\"DAV:\"") + declarations +
           QStringLiteral("><D:prop>") + properties + QStringLiteral("</D:prop></D:propfind>");
}

// An error that the caller has no place for is logged.
void report(const std::optional<Error> &failure, ErrorOut error,
            const std::source_location &operation = std::source_location::current()) {
    if (error)
        *error = failure;
    else
        VDCommonUtils::outputLog(failure, operation);
}

}  // namespace

CommandPtr VDWebDAVConnect::propFind(const QUrl &url, int depth, const QString &body,
                                     HeaderFields headers, const StatusTable &table,
                                     ErrorOut error) {
    const auto command = std::make_shared<ASWDCmdPropFind>(url, coninfo);
    command->depth = depth;
    command->requestBody = body;
    dialect().describeXmlBody(headers);
    command->requestHeader = std::move(headers);
    const Outcome outcome = runCommand(*this, *command, table, error);
    return outcome == Outcome::kRefused ? nullptr : command;
}

std::optional<ASXMLDomParser> VDWebDAVConnect::parsedBody(const ASWDCmdBase &command,
                                                          const QString &output,
                                                          ErrorOut error) const {
    std::optional<ASXMLDomParser> parser(std::in_place);
    const bool parsed = parser->parse(command.responseBody);
    if (parsed && (!parser->error || dialect().toleratesBrokenXml()))
        return parser;
    setError(error, {kConnectErrorDomain, kParseFailure, {{QStringLiteral("OUTPUT"), output}}});
    return std::nullopt;
}

// One item or one folder.

CommandPtr VDWebDAVConnect::getCollectionProperty(const QString &path, ErrorOut error) {
    return withRetries(kRetrySetB, error, [&](ErrorOut failure) {
        return getCollectionPropertyInternal(path, failure);
    });
}

CommandPtr VDWebDAVConnect::getCollectionPropertyInternal(const QString &path, ErrorOut error) {
    return propFind(
        itemUrl(path), 1, davPropFind(QStringLiteral("<D:prop><D:displayname/></D:prop>")),
        {{QStringLiteral("X-KQ-CHECK-WRITABLE"), QStringLiteral("")}}, kReadTable, error);
}

CommandPtr VDWebDAVConnect::getCollectionProperty(const QString &path, const QString &propName,
                                                  ErrorOut error) {
    return getCollectionProperty(path, QStringList{propName}, error);
}

CommandPtr VDWebDAVConnect::getCollectionProperty(const QString &path, const QStringList &propNames,
                                                  ErrorOut error) {
    return withRetries(kRetrySetB, error, [&](ErrorOut failure) {
        return getCollectionPropertyInternal(path, propNames, failure);
    });
}

CommandPtr VDWebDAVConnect::getCollectionPropertyInternal(const QString &path,
                                                          const QStringList &propNames,
                                                          ErrorOut error) {
    QString names;
    for (const QString &name : propNames)
        names += QStringLiteral("<D:%1/>").arg(name);
    std::optional<Error> failure;
    const CommandPtr command =
        propFind(itemUrl(path), 0, davPropFind(QStringLiteral("<D:prop>%1</D:prop>").arg(names)),
                 {}, kBareReadTable, &failure);
    if (!failure)
        return command;
    report(failure, error);
    return nullptr;
}

CommandPtr VDWebDAVConnect::getItemProperty(const QString &path, ErrorOut error) {
    return withRetries(kRetrySetB, error,
                       [&](ErrorOut failure) { return getItemPropertyInternal(path, failure); });
}

CommandPtr VDWebDAVConnect::getItemPropertyInternal(const QString &path, ErrorOut error) {
    return propFind(itemUrl(path), 0, davPropFind(QStringLiteral("<D:allprop/>")), {}, kReadTable,
                    error);
}

CommandPtr VDWebDAVConnect::getItemProperty(const QString &path, const QStringList &propNames,
                                            const QStringList &nameSpaces, ErrorOut error) {
    return getItemProperty(path, propNames, nameSpaces, {}, error);
}

CommandPtr VDWebDAVConnect::getItemProperty(const QString &path, const QStringList &propNames,
                                            const QStringList &nameSpaces,
                                            const HeaderFields &headers, ErrorOut error) {
    const auto ask = [&](ErrorOut failure) {
        return withRetries(kRetrySetB, failure, [&](ErrorOut attempt) {
            return getItemPropertyInternal(path, propNames, nameSpaces, headers, attempt);
        });
    };
    std::optional<Error> failure;
    CommandPtr command = ask(&failure);
    if (failure && failure->code == kNotFound && learnSpelling(path)) {
        failure.reset();
        command = ask(&failure);
    }
    if (failure)
        setError(error, *failure);
    return command;
}

CommandPtr VDWebDAVConnect::getItemPropertyInternal(const QString &path,
                                                    const QStringList &propNames,
                                                    const QStringList &nameSpaces,
                                                    const HeaderFields &headers, ErrorOut error) {
    // The Go handler refuses a question without names, which is meant for its fields alone.
    const QString body = propNames.isEmpty() && !velmora
                             ? namedPropFind({QStringLiteral("resourcetype")}, {kDavNamespaceURI})
                             : namedPropFind(propNames, nameSpaces);
    return propFind(itemUrl(path), 0, body, headers, kItemReadTable, error);
}

CommandPtr VDWebDAVConnect::getItemsOfFolderInternal(const QString &path,
                                                     const QStringList &propNames,
                                                     const QStringList &nameSpaces,
                                                     ErrorOut error) {
    return propFind(itemUrl(path), 1, namedPropFind(propNames, nameSpaces), {}, kReadTable, error);
}

bool VDWebDAVConnect::learnSpelling(const QString &path) {
    const QString before = serverNames.spelled(path);
    for (const QString &folder : serverNames.unlearnedFolders(path)) {
        std::optional<Error> failure;
        getFileList(folder, nullptr, &failure);
        if (failure)
            break;
    }
    return serverNames.spelled(path) != before;
}

QString VDWebDAVConnect::getItemProperty(const QString &path, const QString &propName,
                                         const QString &nameSpace, ErrorOut error) {
    std::optional<Error> failure;
    const CommandPtr command =
        getItemProperty(path, QStringList{propName}, QStringList{nameSpace}, &failure);
    if (failure || !command) {
        if (failure)
            setError(error, *failure);
        return {};
    }
    const auto parser = parsedBody(*command, QStringLiteral("Failure XMX PARSE"), error);
    if (!parser)
        return {};

    bool found = false;
    QString value;
    forEachProperty(*parser, [&](const ASXMLDomNode &property) {
        if (found || property.elementName.compare(propName, Qt::CaseInsensitive) != 0)
            return;
        found = true;
        const QString collection = QStringLiteral("collection");
        if (propName != QLatin1String("resourcetype"))
            value = property.elementValue;
        else if (property.findFirstName(collection))
            value = collection;
    });
    return value;
}

bool VDWebDAVConnect::IsCollection(const QString &path, ErrorOut error) {
    return getItemProperty(path, QStringLiteral("resourcetype"), kDavNamespaceURI, error)
        .contains(QLatin1String("collection"));
}

bool VDWebDAVConnect::fileExsits(const QString &path, ErrorOut error) {
    const QString body = kXmlHeader + QStringLiteral(
                                          "<propfind xmlns=\"DAV:\"><prop><resourcetype/></prop>"
                                          "</propfind>");
    std::optional<Error> failure;
    const CommandPtr command = propFind(itemUrl(path), 0, body, {}, kBareReadTable, &failure);
    if (failure) {
        report(failure, error);
        return false;
    }
    const auto parser = parsedBody(*command, QStringLiteral("Failure XMX PARSE"), error);
    if (!parser)
        return true;  // something is there
    if (!parser->rootElement)
        return false;
    for (const auto &response : parser->rootElement->findName(QStringLiteral("response"))) {
        for (const auto &propstat : response->findName(QStringLiteral("propstat"))) {
            for (const auto &status : propstat->findName(QStringLiteral("status"))) {
                if (status->elementValue.contains(QLatin1String("200")))
                    return true;
            }
        }
    }
    return false;
}

bool VDWebDAVConnect::headMethod(const QString &url, ErrorOut error) {
    if (url.isEmpty()) {
        setError(error, {kConnectErrorDomain, kEmptyUrl, {}});
        return false;
    }
    const auto command = std::make_shared<ASWDCmdHead>(QUrl(url), coninfo);
    return runCommand(*this, *command, kHeadTable, error) == Outcome::kSuccess;
}
