#include "app/cli/ConnectionFields.h"

#include <iterator>

#include <QJsonValue>

#include "app/cli/Command.h"
#include "app/cli/Credentials.h"
#include "common/Text.h"
#include "connection/ConnectionUrl.h"
#include "connection/VDConnectionInfo.h"

namespace ConnectionFields {

namespace {

using Record = VDConnectionInfo;

template <typename T>
QJsonValue boxed(const std::optional<T> &value) {
    return value ? QJsonValue(*value) : QJsonValue();
}

QJsonValue text(const QString &value) {
    return value.isEmpty() ? QJsonValue() : QJsonValue(value);
}

struct Shown {
    const char *field;
    const char *labelKey;
    QJsonValue (*value)(const Record &);
};

const Shown kShown[] = {
    {"connectionName", "Cli_Field_Name", [](const Record &r) { return text(r.connectionName); }},
    {"RemoteURL", "Cli_Field_Url", [](const Record &r) { return text(r.RemoteURL); }},
    {"username", "Cli_Field_User", [](const Record &r) { return text(r.username); }},
    {"saveID", "Cli_Field_SaveUser", [](const Record &r) { return QJsonValue(r.saveID); }},
    {"savePassword", "Cli_Field_SavePassword",
     [](const Record &r) { return QJsonValue(r.savePassword); }},
    {"mountPoint", "Cli_Field_MountPoint", [](const Record &r) { return text(r.mountPoint); }},
    {"chengeMountPoint", "Cli_Field_OwnMountPoint",
     [](const Record &r) { return QJsonValue(r.chengeMountPoint); }},
    {"isUseProxy", "Cli_Field_UseProxy",
     [](const Record &r) { return QJsonValue(r.isUseProxy.toBool()); }},
    {"isProxyAuto", "Cli_Field_SystemProxy", [](const Record &r) { return boxed(r.isProxyAuto); }},
    {"proxyHost", "Cli_Field_ProxyHost", [](const Record &r) { return text(r.proxyHost); }},
    {"proxyPort", "Cli_Field_ProxyPort", [](const Record &r) { return boxed(r.proxyPort); }},
    {"isUseProxyAuth", "Cli_Field_ProxyLogin",
     [](const Record &r) { return boxed(r.isUseProxyAuth); }},
    {"proxyUsername", "Cli_Field_ProxyUser", [](const Record &r) { return text(r.proxyUsername); }},
    {"hasProxyPassword", "Cli_Field_ProxyPassword",
     [](const Record &r) { return QJsonValue(!r.proxyPassword.isEmpty()); }},
    {"devideSizeIndex", "Cli_Field_DivideSize",
     [](const Record &r) { return boxed(r.devideSizeIndex); }},
    {"isUseCert", "Cli_Field_Certificate", [](const Record &r) { return boxed(r.isUseCert); }},
    {"isAllowSelfsign", "Cli_Field_SelfSigned",
     [](const Record &r) { return boxed(r.isAllowSelfsign); }},
    {"isAutoMount", "Cli_Field_AutoMount", [](const Record &r) { return boxed(r.isAutoMount); }},
    {"isMount", "Cli_Field_Mounted", [](const Record &r) { return QJsonValue(r.isMount); }},
};

QString shown(const QJsonValue &value) {
    if (value.isBool())
        return localizedText(value.toBool() ? "Cli_Yes" : "Cli_No");
    return value.isNull() ? localizedText("Cli_NotSet") : value.toVariant().toString();
}

// An option that was not given changes nothing; each returns whether it was understood.
using Apply = bool (*)(const Invocation &, const QString &value, Record &);

bool setFlag(const QString &value, std::optional<bool> *flag) {
    if (value != QStringLiteral("yes") && value != QStringLiteral("no"))
        return false;
    *flag = value == QStringLiteral("yes");
    return true;
}

bool setProxy(const QString &value, Record &record) {
    record.isUseProxy = value != QStringLiteral("none");
    if (value == QStringLiteral("none"))
        return true;
    record.isProxyAuto = value == QStringLiteral("system");
    if (value == QStringLiteral("system"))
        return true;
    // The last colon: an IPv6 address in brackets holds others.
    const qsizetype colon = value.lastIndexOf(QLatin1Char(':'));
    bool isNumber = false;
    const int port = value.mid(colon + 1).toInt(&isNumber);
    record.proxyHost = value.left(colon);
    record.proxyPort = port;
    return colon > 0 && isNumber && port > 0 && port < 65536 &&
           !record.proxyHost.contains(QLatin1Char('@')) &&
           !record.proxyHost.contains(QLatin1Char('/'));
}

struct Field {
    CommandOption option;
    Apply apply;
    const char *expectedKey = "";  // the values it may have, where not every one is taken
};

const Field kFields[] = {
    {{"url", "URL", "Cli_Option_Url"},
     [](const Invocation &, const QString &value, Record &record) {
         record.RemoteURL = ConnectionUrl::readableUrl(value);
         return true;  // checked before
     }},
    {{"user", "USER", "Cli_Option_User"},
     [](const Invocation &, const QString &value, Record &record) {
         record.username = value;
         record.saveID = !value.isEmpty();
         return true;
     }},
    {{"save-user", nullptr, "Cli_Option_SaveUser"},
     [](const Invocation &, const QString &, Record &record) { return record.saveID = true; }},
    {{"no-save-user", nullptr, "Cli_Option_NoSaveUser"},
     [](const Invocation &, const QString &, Record &record) {
         record.saveID = false;
         record.username.clear();
         return true;
     }},
    {{"no-save-password", nullptr, "Cli_Option_NoSavePassword"},
     [](const Invocation &, const QString &, Record &record) {
         record.savePassword = false;
         record.password.clear();
         return true;
     }},
    {{"mount-point", "FOLDER", "Cli_Option_MountPoint"},
     [](const Invocation &, const QString &value, Record &record) {
         record.chengeMountPoint = true;
         record.mountPoint = absolutePath(value);
         return true;  // checked before
     }},
    {{"default-mount-point", nullptr, "Cli_Option_DefaultMountPoint"},
     [](const Invocation &, const QString &, Record &record) {
         record.chengeMountPoint = false;
         record.mountPoint.clear();
         return true;
     }},
    {{"proxy", "none|system|HOST:PORT", "Cli_Option_Proxy"},
     [](const Invocation &, const QString &value, Record &record) {
         return setProxy(value, record);
     },
     "Cli_Expected_Proxy"},
    {{"proxy-user", "USER", "Cli_Option_ProxyUser"},
     [](const Invocation &, const QString &value, Record &record) {
         record.isUseProxyAuth = true;
         record.proxyUsername = value;
         return true;
     }},
    {{"no-proxy-user", nullptr, "Cli_Option_NoProxyUser"},
     [](const Invocation &, const QString &, Record &record) {
         record.isUseProxyAuth = false;
         record.proxyUsername.clear();
         record.proxyPassword.clear();
         return true;
     }},
    {{"divide-size-index", "NUMBER", "Cli_Option_DivideSize"},
     [](const Invocation &, const QString &value, Record &record) {
         bool isNumber = false;
         record.devideSizeIndex = value.toInt(&isNumber);
         return isNumber && *record.devideSizeIndex >= 0;
     },
     "Cli_Expected_Number"},
    {{"client-certificate", "yes|no", "Cli_Option_Certificate"},
     [](const Invocation &, const QString &value, Record &record) {
         return setFlag(value, &record.isUseCert);
     },
     "Cli_Expected_YesNo"},
    {{"allow-self-signed", "yes|no", "Cli_Option_SelfSigned"},
     [](const Invocation &, const QString &value, Record &record) {
         return setFlag(value, &record.isAllowSelfsign);
     },
     "Cli_Expected_YesNo"},
    {{"auto-mount", "yes|no", "Cli_Option_AutoMount"},
     [](const Invocation &, const QString &value, Record &record) {
         return setFlag(value, &record.isAutoMount);
     },
     "Cli_Expected_YesNo"},
};

const CommandOption kPasswordOptions[] = {
    {"save-password", nullptr, "Cli_Option_SavePassword"},
    {"password-stdin", nullptr, "Cli_Option_PasswordStdin"},
    {"proxy-password", nullptr, "Cli_Option_ProxyPassword"},
    {"proxy-password-stdin", nullptr, "Cli_Option_ProxyPasswordStdin"},
};

bool applyPasswords(const Invocation &invocation, Record &record) {
    if (invocation.has("save-password") || invocation.has("password-stdin")) {
        const auto password = newPassword(invocation, "password-stdin", "Cli_PromptPassword");
        if (!password)
            return false;
        record.savePassword = true;
        record.password = *password;
    }
    if (invocation.has("proxy-password") || invocation.has("proxy-password-stdin")) {
        const auto password =
            newPassword(invocation, "proxy-password-stdin", "Cli_PromptProxyPassword");
        if (!password)
            return false;
        record.isUseProxyAuth = true;
        record.proxyPassword = *password;
    }
    return true;
}

}  // namespace

QList<CommandOption> options() {
    QList<CommandOption> result;
    for (const Field &field : kFields)
        result += field.option;
    result.append(QList<CommandOption>(std::begin(kPasswordOptions), std::end(kPasswordOptions)));
    return result;
}

std::optional<int> apply(const Invocation &invocation, VDConnectionInfo &record) {
    if (invocation.has("url")) {
        if (const char *problem = ConnectionUrl::problemOf(invocation.value("url")))
            return invocation.refuse(localizedText(problem));
    }
    if (const char *problem = mountPointProblem(invocation))
        return invocation.refuse(localizedText(problem));
    for (const Field &field : kFields) {
        const char *const name = field.option.name;
        if (invocation.has(name) && !field.apply(invocation, invocation.value(name), record))
            return invocation.refuse(localizedText("Cli_BadValue", QString::fromLatin1(name),
                                                   localizedText(field.expectedKey)));
    }
    return applyPasswords(invocation, record) ? std::nullopt : std::optional<int>(kFailed);
}

QJsonObject toJson(const VDConnectionInfo &record) {
    QJsonObject result;
    for (const Shown &each : kShown)
        result[QLatin1String(each.field)] = each.value(record);
    return result;
}

QStringList toLines(const VDConnectionInfo &record) {
    QStringList result;
    for (const Shown &each : kShown)
        result +=
            QStringLiteral("%1: %2").arg(localizedText(each.labelKey), shown(each.value(record)));
    return result;
}

}  // namespace ConnectionFields
