// Discovery: one OPTIONS request tells what the server is and what it allows. The questions that
// connecting may raise, an untrusted certificate and missing logins, are asked in between, and each
// answer leads to a new request.

#include <pwd.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common/Text.h"
#include "common/UrlText.h"
#include "common/VDCommonUtils.h"
#include "platform/ui/VDLoginForm.h"
#include "webdav/ASWDCmdPlain.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

constexpr int kCancelledByUser = 22;

// An answer without a body may also be told by 204.
const StatusTable kOptionsTable = {
    {200, 204},
    {{403, 7, StatusRow::kOutput},
     {400, 18, StatusRow::kOutput},
     {500, 11, StatusRow::kOutput},
     {503, 12, StatusRow::kOutput}},
    {0, 13, StatusRow::kOutput},
};

constexpr qint64 kReadonlyBit = 1;

struct Letter {
    const char *letter;
    enum Needs { kPublicWeb, kSendMail } needs;
    qint64 bit;
};

constexpr Letter kLetters[] = {
    {"w", Letter::kPublicWeb, 2},     {"u", Letter::kPublicWeb, 4},
    {"wm", Letter::kSendMail, 8},     {"um", Letter::kSendMail, 16},
    {"wxu", Letter::kPublicWeb, 32},  {"uxu", Letter::kPublicWeb, 64},
    {"wx", Letter::kPublicWeb, 128},  {"ux", Letter::kPublicWeb, 256},
    {"wxa", Letter::kPublicWeb, 512}, {"uxa", Letter::kPublicWeb, 1024},
};

bool isUntrustedServer(const ASWDCmd &command) {
    return command.error && command.error->userInfo.value(QStringLiteral("CertificateError")) ==
                                QStringLiteral("ServerSelfCertificate");
}

QString systemUserName() {
    std::vector<char> buffer(16 * 1024);
    passwd entry = {};
    passwd *found = nullptr;
    getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    return found ? QString::fromLocal8Bit(found->pw_name) : qEnvironmentVariable("USER");
}

QString publicHostFrom(const QString &announced, const QUrl &serverUrl) {
    QString host = announced.isEmpty() ? serverUrl.toString(QUrl::FullyEncoded) : announced;
    if (!VDCommonUtils::isUrlFull(host))
        host = serverUrl.scheme() + QStringLiteral("://") + host;
    while (host.endsWith(QLatin1Char('/')))
        host.chop(1);
    return host;
}

}  // namespace

bool VDWebDAVConnect::IsDAVServer(const QString &path, ErrorOut error) {
    return IsDAVServer(path, false, error);
}

bool VDWebDAVConnect::IsDAVServer(const QString &path, bool force, ErrorOut error) {
    if (force) {
        isDAV = false;
        velmoraPermission = 0;
    }
    return withRetries(kRetrySetA, error,
                       [&](ErrorOut failure) { return IsDAVServerInternal(path, failure); });
}

bool VDWebDAVConnect::isVelmora(const QString &path, bool forceCheck, ErrorOut error) {
    if (forceCheck || !isDAV)
        IsDAVServer(path, forceCheck, error);
    return velmora;
}

bool VDWebDAVConnect::isVelmora(const QString &path, ErrorOut error) {
    return isVelmora(path, false, error);
}

bool VDWebDAVConnect::IsDAVServerInternal(const QString &path, ErrorOut error) {
    while (!isDAV) {
        serverUrl = QUrl();
        serverUrl.setScheme(mountUrl.scheme());
        serverUrl.setHost(mountUrl.host());
        serverUrl.setPort(mountUrl.port());

        const QUrl item = VDCommonUtils::urlAppendPath(mountUrl, path);
        const QUrl asked(excludeReplaceString(item.toString(QUrl::FullyEncoded)));
        const auto command = std::make_shared<ASWDCmdOptions>(asked, coninfo);
        std::optional<Error> failure;
        const Outcome outcome = runCommand(*this, *command, kOptionsTable, &failure);
        if (outcome == Outcome::kSuccess) {
            learnFromOptions(*command);
            return isDAV;
        }

        const int status = answerStatus(*command);
        bool goOn = false;
        if (outcome == Outcome::kNoAnswer && isUntrustedServer(*command)) {
            goOn = acceptsCertificate();
            if (goOn)
                coninfo->validatesSecureCertificate = false;
        } else if (outcome == Outcome::kRefused && (status == 401 || status == 407)) {
            goOn = askLogin(status == 407);
        } else {
            if (error)
                *error = failure;
            else
                VDCommonUtils::outputLog(failure);
            return false;
        }
        if (!goOn) {
            setError(error, {kConnectErrorDomain, kCancelledByUser, {}});
            return false;
        }
    }
    return true;
}

bool VDWebDAVConnect::acceptsCertificate() const {
    Alert question;
    question.text = localizedText("KQSelfServerCertificateWindowController_0", mountUrl.host());
    question.informativeText = localizedText("KQSelfServerCertificateWindowController_1");
    question.buttons = {localizedText("Common_Button_NO"), localizedText("Common_Button_YES")};
    return VDCommonUtils::showAlert(question) == 1;
}

bool VDWebDAVConnect::askLogin(bool isProxy) const {
    VDLoginForm form(isProxy ? localizedText("VDWebDAVConnect_0") : QString());
    form.setServer(isProxy ? coninfo->proxyHost : mountUrl.host());
    form.setUsername(isProxy ? coninfo->proxyUsername : coninfo->username);
    form.setPassword(isProxy ? coninfo->proxyPassword : coninfo->password);
    const bool accepted = form.showForm();
    form.windowClose();
    if (accepted)
        coninfo->changeLogin(isProxy, form.username(), form.password());
    return accepted;
}

void VDWebDAVConnect::learnFromOptions(const ASWDCmd &command) {
    const auto field = [&command](const char *name) {
        return answerField(command, QString::fromLatin1(name));
    };

    // A plain search: a class of 10 counts as well.
    if (field("DAV").value_or(QString()).contains(QLatin1Char('1')))
        isDAV = true;
    announcesLocking = false;
    for (const QString &word : field("DAV").value_or(QString()).split(QLatin1Char(',')))
        announcesLocking |= word.trimmed() == QLatin1String("2");
    if (const auto version = field("X-KQ-Velmora-Version")) {
        velmoraVersion = *version;
        velmora = true;
    }
    if (field("X-KQ-Readonly-Enable"))
        velmoraPermission |= kReadonlyBit;
    if (const auto value = field("X-KQ-Primary"))
        primary = stringByDecodingURLFormat(*value);
    if (const auto value = field("X-KQ-User"))
        serverUser = stringByDecodingURLFormat(*value);
    if (const auto value = field("X-KQ-CryptoFile-Enable"))
        cryptofileversion = *value == QLatin1String("2") ? 2 : 1;
    if (const auto value = field("X-KQ-Host"))
        publicHost = stringByDecodingURLFormat(*value);
    publicHost = publicHostFrom(publicHost, serverUrl);

    const QString letters = field("X-KQ-Velmora-Enable").value_or(QString());
    if (!letters.isEmpty())
        applyLetters(letters.split(QLatin1Char(',')), field("X-KQ-Publicweb-Enable").has_value(),
                     field("X-KQ-Sendmail-Enable").has_value());

    user = coninfo->username.isEmpty() ? systemUserName() : coninfo->username;
    mountUrl = QUrl(replaceUserPath(mountUrl.toString(QUrl::FullyEncoded)));
}

void VDWebDAVConnect::applyLetters(const QStringList &letters, bool publicWeb, bool sendMail) {
    for (const Letter &known : kLetters) {
        const bool allowed = known.needs == Letter::kSendMail ? sendMail : publicWeb;
        if (allowed && letters.contains(QLatin1String(known.letter)))
            velmoraPermission |= known.bit;
    }
}
