#include "webdav/VDWebDAVConnect.h"

#include <utility>

#include <QUuid>

#include "common/Log.h"
#include "common/VDCommonUtils.h"
#include "platform/net/RunLoop.h"
#include "webdav/ASWDCmd.h"

namespace {

// What to log of a failed connection, by its error's code from 4000 on.
constexpr int kFirstConnectionError = 4000;
const QStringList kConnectionTexts = {
    QStringLiteral("Create Request Error"),
    QStringLiteral("Message Apply Credential Dictionary Error"),
    QStringLiteral("Read Stream Open Error"),
    QStringLiteral("Read Stream Create For Streamed HTTP Request Error"),
    QStringLiteral("Read Stream Create For HTTP Request Error"),
    QStringLiteral("Request Stream Error"),
    QStringLiteral("Connection Timeout"),
};
constexpr int kCredentialError = 4001;

const QSet<QString> kReadingMethods = {QStringLiteral("OPTIONS"), QStringLiteral("HEAD"),
                                       QStringLiteral("GET"), QStringLiteral("PROPFIND")};

QString withoutDoubleSlashes(const QString &url) {
    const QStringList pieces = url.split(QStringLiteral("//"));
    if (pieces.size() == 1)
        return url;
    // The first of them is the scheme's and stays.
    return pieces.first() + QStringLiteral("//") + pieces.mid(1).join(QLatin1Char('/'));
}

}  // namespace

VDWebDAVConnect::VDWebDAVConnect(std::shared_ptr<ASHttpConnectInfo> connectInfo,
                                 const QString &requestURL)
    : mountUrl(RequestDialect::typedUrl(requestURL)),
      coninfo(std::move(connectInfo)),
      lockMark(QUuid::createUuid().toString(QUuid::WithoutBraces)) {
    if (mountUrl.userInfo().isEmpty())
        return;
    // A login belongs where logins are kept: a URL goes into header fields and logs.
    if (coninfo->username.isEmpty())
        coninfo->changeLogin(false, mountUrl.userName(QUrl::FullyDecoded),
                             mountUrl.password(QUrl::FullyDecoded));
    mountUrl.setUserInfo(QString());
}

VDWebDAVConnect::~VDWebDAVConnect() = default;

void VDWebDAVConnect::countReset() {
    falseCount = 0;
}

void VDWebDAVConnect::addFalseCount() {
    constexpr int kTolerated = 4;
    if (falseCount.fetch_add(1) >= kTolerated)
        setDarby();
}

bool VDWebDAVConnect::isDarby() const {
    return darby;
}

void VDWebDAVConnect::setDarby() {
    darby = true;
}

class VDWebDAVConnect::UnderWay {
  public:
    UnderWay(VDWebDAVConnect &session, ASWDCmd &command) : session(session), command(command) {
        if (!kReadingMethods.contains(command.protocol()))
            return;
        const std::lock_guard guard(session.underWayMutex);
        if (session.neededReads > 0)
            return;
        session.underWay.insert(&command);
        if (session.readingStopped)
            command.cancel();
    }
    ~UnderWay() {
        const std::lock_guard guard(session.underWayMutex);
        session.underWay.remove(&command);
    }
    UnderWay(const UnderWay &) = delete;
    UnderWay &operator=(const UnderWay &) = delete;

  private:
    VDWebDAVConnect &session;
    ASWDCmd &command;
};

VDWebDAVConnect::NeededRead::NeededRead(VDWebDAVConnect &session) : session(session) {
    const std::lock_guard guard(session.underWayMutex);
    ++session.neededReads;
}

VDWebDAVConnect::NeededRead::~NeededRead() {
    const std::lock_guard guard(session.underWayMutex);
    --session.neededReads;
}

void VDWebDAVConnect::stopReading() {
    const std::lock_guard guard(underWayMutex);
    readingStopped = true;
    for (ASWDCmd *command : std::as_const(underWay))
        command->cancel();
}

bool VDWebDAVConnect::execute(ASWDCmd &command, ErrorOut error) {
    const UnderWay here(*this, command);
    const auto completed = std::make_shared<bool>(false);
    command.completeEventHandler = [completed] { *completed = true; };

    const bool started = command.execute();
    if (!started && !command.error)
        command.error = Error{kConnectErrorDomain, 0, {}};
    if (!started) {
        // The caller is told nothing here: it reads an answer of status 0.
        addFalseCount();
        return false;
    }
    if (command.error) {
        addFalseCount();
        cmdLog(command, error);
        return false;
    }

    RunLoop::current()->runUntil([&] { return *completed; });
    if (command.error) {
        addFalseCount();
        cmdLog(command, error);
    } else {
        countReset();
    }
    return true;
}

QString VDWebDAVConnect::logText(const ASWDCmd &command, const QString &what) const {
    const QString url = command.remoteURL.toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo);
    const QString readable = dialect().decoded(url);
    const auto connection = command.connection();
    const QString reason = connection ? connection->failureText : QString();
    return QStringLiteral("%1 : %2\n%3 %4")
        .arg(what, readable.isNull() ? url : readable, command.protocol(), reason);
}

QString VDWebDAVConnect::connectLog(const ASWDCmd &command, ErrorOut) const {
    const auto connection = command.connection();
    if (!connection || !connection->error)
        return {};
    const int code = connection->error->code;
    if (code == kCredentialError && command.protocol() == QLatin1String("OPTIONS"))
        return {};
    const QString what = kConnectionTexts.value(code - kFirstConnectionError);
    return what.isNull() ? QString() : logText(command, what);
}

bool VDWebDAVConnect::cmdLog(const ASWDCmd &command, ErrorOut error) const {
    if (!command.error || command.error->domain != QLatin1String("ASWDCmd"))
        return true;
    QString text;
    switch (command.error->code) {
        case 32768:
            text = connectLog(command, error);
            break;
        case 32769:
            text = logText(command, QStringLiteral("Can not XML Parse"));
            break;
        case 32770:
            text = logText(command, QStringLiteral("Can not openFileStream"));
            break;
        default:
            text = logText(command, QStringLiteral("Unknown Error"));
    }
    if (text.isNull())
        return true;
    if (error)
        *error = Error{kConnectErrorDomain, 0, {{QStringLiteral("OUTPUT"), text}}};
    else
        VDLog(text);
    return true;
}

QString VDWebDAVConnect::replaceUserPath(const QString &url) const {
    return withoutDoubleSlashes(dialect().withVariables(url, primary, user));
}

QString VDWebDAVConnect::excludeReplaceString(const QString &url) const {
    return dialect().withVariables(url, QString(), QString());
}

void VDWebDAVConnect::webExceptionProcess(const void *) {}

QUrl VDWebDAVConnect::itemUrl(const QString &path) const {
    return VDCommonUtils::urlAppendPath(mountUrl, serverNames.spelled(path));
}
