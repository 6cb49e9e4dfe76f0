// Publishing items under a public address, and their expiry: property writes with an X-KQ field as
// the verb. On another server, or an old one, they give a neutral result and no error.

#include "common/VDCommonUtils.h"
#include "webdav/ASWDCmd.h"
#include "webdav/Namespaces.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"
#include "webdav/WebPublicParameter.h"

namespace {

constexpr int kAnyOther = 13;

const QString kPublicAddress = QStringLiteral("publicaddress");
const QString kSetPublic = QStringLiteral("X-KQ-SET-PUBLIC");
const QString kChangePublic = QStringLiteral("X-KQ-CHANGE-PUBLIC");
const QString kYes = QStringLiteral("1");

HeaderFields publicationProperties(const WebPublicParameter &parameter, bool isDelivery) {
    HeaderFields properties;
    const auto set = [&properties](const char *name, bool condition, const QString &value) {
        if (condition)
            properties[QString::fromLatin1(name)] = value;
    };
    const QString &address = parameter.publicAddress;
    set("publicaddress", !address.isEmpty(), address);
    set("publicaddress_updateflg", !address.isEmpty(), kYes);
    set("publicexpire", parameter.isExpire,
        VDCommonUtils::getTodayZeroTimeString(parameter.expire));
    set("deleteafterdownload", parameter.downloadCount > 0,
        QString::number(parameter.downloadCount));
    set("password", !parameter.password.isEmpty(), parameter.password);
    set("sendmailafterdownload", parameter.afterSendMail, kYes);
    set("publiccomment", !parameter.comment.isEmpty(), parameter.comment);
    set("public_mailauth", parameter.publicMmailAuth, kYes);
    set("public_mailauth_anonymous",
        parameter.publicMmailAuth && parameter.publicMmailAuthAnonymous, kYes);
    set("publicmode", isDelivery, QStringLiteral("upload"));
    set("publicfilenotvisible", isDelivery && parameter.uploadFileNotVisible, kYes);
    // Sent as "0" where subfolders are visible and left out otherwise.
    set("publicsubfoldernotvisible", !isDelivery && !parameter.subFolderNotVisible,
        QStringLiteral("0"));
    if (parameter.publicMmailAuth && !parameter.publicMmailAuthAnonymous) {
        const QStringList &addresses = parameter.mailAuthMailAddressList;
        for (qsizetype at = 0; at < addresses.size(); ++at)
            properties[QStringLiteral("public_mailauth_mailaddress_set_%1").arg(at)] =
                addresses[at];
    }
    return properties;
}

}  // namespace

QString VDWebDAVConnect::fileSetWebPublic(const QString &path,
                                          const WebPublicParameter &webPublicParam, bool isChange,
                                          bool isDelivery, ErrorOut error) {
    if (!isVelmora(path, nullptr) || !VDCommonUtils::versionCheck(velmoraVersion, "2.13", {}))
        return QStringLiteral("");
    std::optional<Error> failure;
    const CommandPtr command =
        putProperties(path, publicationProperties(webPublicParam, isDelivery), VelmoraNamespaceURI,
                      {{isChange ? kChangePublic : kSetPublic, QStringLiteral("")}}, &failure);
    if (failure || !command) {
        if (failure)
            setError(error, *failure);
        return {};
    }
    // A change is answered with the same field.
    const std::optional<QString> address = answerField(*command, kSetPublic);
    if (!address) {
        // Without it there is no address to hand out.
        setError(error, {kConnectErrorDomain, kAnyOther, {}});
        return {};
    }
    return publicHost + QStringLiteral("/public/") + *address;
}

bool VDWebDAVConnect::fileCancelWebPublic(const QString &path,
                                          const WebPublicParameter &webPublicParam,
                                          ErrorOut error) {
    return fileCancelWebPublic(path, webPublicParam.publicAddress, error);
}

bool VDWebDAVConnect::fileCancelWebPublic(const QString &path, const QString &webPublicAddress,
                                          ErrorOut error) {
    if (!isVelmora(path, nullptr) || !VDCommonUtils::versionCheck(velmoraVersion, "2.13", {}) ||
        webPublicAddress.isEmpty())
        return false;
    putProperty(path, kPublicAddress, webPublicAddress,
                WebPublicParameter::getXmlNamespace(kPublicAddress),
                {{QStringLiteral("X-KQ-CANCEL-PUBLIC"), QStringLiteral("")}}, error);
    return true;  // a failure shows in the error alone
}

bool VDWebDAVConnect::setFileExpire(const QString &path, const QDateTime &expire, ErrorOut error) {
    if (!isVelmora(path, nullptr) || !VDCommonUtils::versionCheck(velmoraVersion, "1.21", {}))
        return false;
    putProperty(path, QStringLiteral("expire"), VDCommonUtils::getTodayZeroTimeString(expire),
                VelmoraNamespaceURI, {{QStringLiteral("X-KQ-FILEEXPIRE"), QStringLiteral("")}},
                error);
    return true;  // a failure shows in the error alone
}
