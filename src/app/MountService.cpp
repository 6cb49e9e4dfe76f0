#include "app/MountService.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEvent>
#include <QJsonArray>

#include "app/RunAside.h"
#include "common/Text.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/ControlServer.h"
#include "platform/system/SignalWatcher.h"
#include "webdav/VDWebDAVConnect.h"

using Notification = GMUserFileSystem::Notification;

namespace {

constexpr int kIdleLimit = 500;          // milliseconds without a mount and a command
constexpr int kProgressInterval = 1000;  // milliseconds
constexpr int kLeaveLimit = 1000;        // milliseconds a login may go on when all else has ended

}  // namespace

QJsonObject MountService::resultOf(bool ok, const QString &message) {
    QJsonObject result{{QStringLiteral("type"), QStringLiteral("result")},
                       {QStringLiteral("ok"), ok}};
    if (!message.isEmpty())
        result[QStringLiteral("message")] = message;
    return result;
}

MountService::MountService(const SystemProxySource &proxies, ClientIdentitySource &identities,
                           UserInterface *local)
    : relay(local),
      isLocal(local != nullptr),
      application(AppDelegate::create(proxies, identities)) {
    UserInterface::install(&relay);
    application->mountChanged = [this](const QString &name, Notification notification,
                                       const std::optional<Error> &error) {
        mountChanged(name, notification, error);
    };
    relay.volumeTold = [this](const Alert &alert) { noteAtEnd(alert); };
    idleTimer.setSingleShot(true);
    idleTimer.setInterval(isLocal ? 0 : kIdleLimit);
    QObject::connect(&idleTimer, &QTimer::timeout, &idleTimer, [this] { stop(); });
    progressTimer.setInterval(kProgressInterval);
    QObject::connect(&progressTimer, &QTimer::timeout, &progressTimer, [this] { tellProgress(); });
}

MountService::~MountService() {
    application->mountChanged = {};
    UserInterface::install(nullptr);
}

ServiceLauncher::Launch MountService::begin() {
    using ServiceLauncher::Answer;
    const auto failure = [] {
        return ServiceLauncher::Launch{Answer::Failed,
                                       localizedText("Cli_ServiceFolder", SingleInstance::folder(),
                                                     QString::fromLocal8Bit(strerror(errno)))};
    };
    umask(077);
    // Whoever read the foreground's messages may go; the volumes stay.
    std::signal(SIGPIPE, SIG_IGN);
    switch (instance.take()) {
        case SingleInstance::Outcome::Failed:
            return failure();
        case SingleInstance::Outcome::HeldByAnother:
            return {Answer::HeldByAnother, {}};
        case SingleInstance::Outcome::Taken:
            break;
    }
    application->applicationDidFinishLaunching();
    server = std::make_unique<ControlServer>(
        [this](const std::shared_ptr<ControlChannel> &channel) { addChannel(channel); });
    return server->listen(SingleInstance::socketPath()) ? ServiceLauncher::Launch{Answer::Ready, {}}
                                                        : failure();
}

void MountService::run() {
    const SignalWatcher watcher({SIGTERM, SIGINT, SIGHUP}, [this](int) { stop(); });
    considerEnd();
    QCoreApplication::exec();
    // What the last volume told at its end must not go with the loop.
    QCoreApplication::sendPostedEvents(QCoreApplication::instance(), QEvent::MetaCall);
    server.reset();
    endAside();
    instance.release();
}

void MountService::setWindows(const Windows &program) {
    windows = program;
}

void MountService::finishLaunching() {
    isMounting = true;
    hasReadConnections = true;
    application->finishLaunching();
    isMounting = false;
    considerEnd();
    runNextMount();
}

void MountService::stop() {
    if (isStopping)
        return;
    isStopping = true;
    if (windows)
        windows->endBegins();
    idleTimer.stop();
    // While volumes still end, commands are told so; a process that ends at once must not take one.
    if (application->isIdle())
        server.reset();
    relay.cancelQuestions();
    while (!mountQueue.isEmpty())
        mountQueue.dequeue().reply(resultOf(false, localizedText("Cli_Stopping")));
    application->applicationShouldTerminate([this] {
        isStopped = true;
        considerEnd();
    });
}

void MountService::considerEnd() {
    const bool isIdle =
        channels.isEmpty() && mountQueue.isEmpty() && !isMounting && application->isIdle();
    if (isStopped && isMounting)
        QTimer::singleShot(kLeaveLimit, &idleTimer, [this] { leaveLogin(); });
    else if (isStopped)
        // Not quit(), which closes the windows, and with them messages that nobody has read.
        QCoreApplication::exit();
    else if (isIdle && !isStopping && !windows && !idleTimer.isActive())
        idleTimer.start();
    else if (!isIdle)
        idleTimer.stop();
}

// A login keeps this thread in its own loop for as long as the server makes it wait. Everything is
// released by now, and nothing of the login outlives the process.
void MountService::leaveLogin() {
    if (!isMounting)
        return;
    if (mountingReply)
        mountingReply(resultOf(false, localizedText("Cli_Stopping")));
    _exit(EXIT_FAILURE);
}

void MountService::addChannel(const std::shared_ptr<ControlChannel> &channel) {
    channels += channel;
    considerEnd();
    channel->onMessage = [this, weak = std::weak_ptr(channel)](const QJsonObject &message) {
        if (const auto self = weak.lock())
            take(self, message);
    };
    channel->onClosed = [this, weak = std::weak_ptr(channel)] {
        channels.removeOne(weak.lock());
        considerEnd();
    };
    channel->send({{QStringLiteral("type"), QStringLiteral("hello")}});
}

void MountService::take(const std::shared_ptr<ControlChannel> &channel,
                        const QJsonObject &message) {
    if (message[QStringLiteral("type")] == QStringLiteral("answer"))
        return relay.takeAnswer(message);
    dispatch({message, channel, [channel](const QJsonObject &result) { channel->send(result); }});
}

void MountService::submit(const QJsonObject &request, Reply reply) {
    dispatch({request, nullptr, std::move(reply)});
}

void MountService::dispatch(Job job) {
    const QString command = job.request[QStringLiteral("command")].toString();
    if (command == QStringLiteral("status"))
        return job.reply(status());
    if (isStopping)
        return job.reply(resultOf(false, localizedText("Cli_Stopping")));
    if (command == QStringLiteral("unmount"))
        return unmount(job);
    if (windows && windows->show(job.request))
        return job.reply(resultOf(true));
    if (command != QStringLiteral("mount"))
        return job.reply(resultOf(false, localizedText("Cli_UnknownRequest")));
    mountQueue.enqueue(std::move(job));
    QTimer::singleShot(0, &idleTimer, [this] { runNextMount(); });
}

void MountService::runNextMount() {
    if (isMounting || mountQueue.isEmpty())
        return;
    Job job = mountQueue.dequeue();
    isMounting = true;
    mountingReply = job.reply;
    relay.attach(job.channel);
    mount(job);
    relay.attach(nullptr);
    isMounting = false;
    mountingReply = nullptr;
    considerEnd();
    QTimer::singleShot(0, &idleTimer, [this] { runNextMount(); });
}

QString MountService::stateOf(const QString &name) const {
    const auto host = application->fsList.value(name);
    if (isStopping || unmountWaits.contains(name) || (host && host->isDetached()))
        return QStringLiteral("unmounting");
    return application->mountedSince.contains(name) ? QStringLiteral("mounted")
                                                    : QStringLiteral("mounting");
}

QJsonArray MountService::uploadsOf(const QString &name) const {
    QJsonArray result;
    const auto disk = application->pffsList.value(name);
    if (!disk)
        return result;
    const auto uploads = disk->DAVConnection->uploadsUnderWay();
    for (const UploadProgress &upload : uploads)
        result += QJsonObject{{QStringLiteral("path"), upload.path},
                              {QStringLiteral("sent"), upload.sent},
                              {QStringLiteral("total"), upload.total}};
    return result;
}

void MountService::tellProgress() {
    for (auto wait = unmountWaits.begin(); wait != unmountWaits.end(); ++wait)
        tellUploads(wait.key(), wait.value());
    for (auto staying = stayers.begin(); staying != stayers.end(); ++staying)
        tellUploads(staying.key(), staying.value());
    if (unmountWaits.isEmpty() && stayers.isEmpty())
        progressTimer.stop();
}

void MountService::tellUploads(const QString &name, QList<Job> &waiting) const {
    const QJsonArray uploads = uploadsOf(name);
    for (Job &job : waiting) {
        if (!job.channel || (uploads.isEmpty() && !job.isShowingProgress))
            continue;
        job.isShowingProgress = !uploads.isEmpty();
        job.channel->send({{QStringLiteral("type"), QStringLiteral("progress")},
                           {QStringLiteral("uploads"), uploads}});
    }
}

QJsonObject MountService::status() const {
    QJsonArray mounts;
    for (auto disk = application->pffsList.cbegin(); disk != application->pffsList.cend(); ++disk) {
        const QString mountPoint = disk.value()->mountPath();
        if (mountPoint.isEmpty())
            continue;
        const auto record = application->conInfoList.value(disk.key());
        const QDateTime since = application->mountedSince.value(disk.key());
        mounts += QJsonObject{
            {QStringLiteral("name"), disk.key()},
            {QStringLiteral("mountPoint"), mountPoint},
            {QStringLiteral("server"), record ? record->RemoteURL : QString()},
            {QStringLiteral("user"), disk.value()->DAVConnection->user},
            {QStringLiteral("state"), stateOf(disk.key())},
            {QStringLiteral("since"),
             since.isValid() ? QJsonValue(since.toString(Qt::ISODate)) : QJsonValue()},
            {QStringLiteral("uploads"), uploadsOf(disk.key())},
        };
    }
    QJsonObject result = resultOf(true);
    result[QStringLiteral("process")] = QCoreApplication::applicationPid();
    result[QStringLiteral("mounts")] = mounts;
    return result;
}
