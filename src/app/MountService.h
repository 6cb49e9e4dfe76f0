#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QQueue>
#include <QSet>
#include <QString>
#include <QTimer>

#include "app/AppDelegate.h"
#include "app/RelayInterface.h"
#include "platform/system/ServiceLauncher.h"
#include "platform/system/SingleInstance.h"

class ControlChannel;
class ControlServer;

// The running instance of a user: owns the application with its mounts, and serves the requests of
// commands until the last mount and the last command are gone or a signal ends it. Main thread.
//
// Requests are JSON objects with a "command":
//   mount    "name" of a saved connection, or "url" with "name" and "isNameChosen"; optional
//            "username", "password", "mountPoint", "acceptCertificate", "stay". Without both the
//            connections marked for it are mounted; "marked" tells how many there are. "mounted"
//            lists what came up.
//   unmount  "target" (name or mount point), "force"; its result has the "name", and with
//            "messages" what was told of the volume since its end began
//   status   "mounts" with, among others, "uploads": "path", "sent" and "total" (bytes) of each
//   show     brings the settings window to the front, where the instance has one
//   open     "url": mounts what it names, where the instance has windows
// Each gets one "result" with "ok" and, on failure, perhaps a "message"; alerts and login questions
// may come before it, each question expecting an "answer". With "stay" an "ended" with such
// "messages" follows at the mount's end. Who waits for a volume's end gets a "progress" with its
// "uploads" once a second while there are some, and once without any.
class MountService {
  public:
    using Reply = std::function<void(QJsonObject result)>;

    // local: the interface of a process that has a terminal of its own, null in the background.
    MountService(const SystemProxySource &proxies, ClientIdentitySource &identities,
                 UserInterface *local);
    ~MountService();
    MountService(const MountService &) = delete;
    MountService &operator=(const MountService &) = delete;

    // Becomes the instance, or tells why not.
    ServiceLauncher::Launch begin();
    // Serves until the end; everything is unmounted when it returns.
    void run();
    // A request of this process itself; its reply comes while run() runs.
    void submit(const QJsonObject &request, Reply reply);

    // For a program with windows, before run(): what shows them for a request, false for one that
    // it doesn't know; and what is told first when the end begins. Such a program doesn't end with
    // its last mount.
    struct Windows {
        std::function<bool(const QJsonObject &request)> show;
        std::function<void()> endBegins;
    };
    void setWindows(const Windows &program);
    // Reads the connections and mounts those marked for it. Blocks for the logins.
    void finishLaunching();
    // Begins the end; run() returns once everything is unmounted.
    void quit() { stop(); }
    // Whether anything was told of a volume while it ended: of files that the server didn't take.
    bool hasToldAtEnd() const { return isToldAtEnd; }
    AppDelegate &delegate() { return *application; }

    // Without a message where the user has been told already.
    static QJsonObject resultOf(bool ok, const QString &message = {});

  private:
    struct Job {
        QJsonObject request;
        std::shared_ptr<ControlChannel> channel;  // null for a request of this process
        Reply reply;
        bool isShowingProgress = false;
    };
    // A mount request whose volumes haven't come up yet.
    struct MountWait {
        Job job;
        QStringList names;
        QStringList mounted;
        QStringList failures;
        bool isComplete = true;  // false where one couldn't even be begun
    };

    void addChannel(const std::shared_ptr<ControlChannel> &channel);
    void take(const std::shared_ptr<ControlChannel> &channel, const QJsonObject &message);
    void dispatch(Job job);
    void runNextMount();
    void mount(Job &job);
    void mountMarked(Job &job);
    void readConnections(const QString &chosenName);
    void mountOne(Job &job, const QString &name);
    QString prepareRecord(const QJsonObject &request, QString *name);
    void prepareSaved(QString *name);
    QString prepareUnsaved(const QJsonObject &request, QString *name);
    QString mountPointProblem(const QString &name) const;
    void unmount(const Job &job);
    QString nameOfMount(const QString &target) const;
    QString stateOf(const QString &name) const;
    QString mountedAlready(const QString &name) const;
    void noteAtEnd(const Alert &alert);
    QJsonArray uploadsOf(const QString &name) const;
    void tellProgress();
    void tellUploads(const QString &name, QList<Job> &waiting) const;
    QJsonObject status() const;
    void mountChanged(const QString &name, GMUserFileSystem::Notification notification,
                      const std::optional<Error> &error);
    bool endWaits(const QString &name, const QString &failure);
    void finishWait(const MountWait &wait);
    void forgetUnsaved(const QString &name);
    void stop();
    void considerEnd();
    void leaveLogin();

    SingleInstance instance;
    std::optional<Windows> windows;
    RelayInterface relay;
    const bool isLocal;
    const std::shared_ptr<AppDelegate> application;
    std::unique_ptr<ControlServer> server;
    QList<std::shared_ptr<ControlChannel>> channels;
    QQueue<Job> mountQueue;  // one at a time, since each may ask
    bool isMounting = false;
    Reply mountingReply;  // of the request that is being mounted
    // Reading them mounts the marked ones, which may ask: it waits for a command to ask on.
    bool hasReadConnections = false;
    QList<MountWait> mountWaits;
    QHash<QString, QList<Job>> unmountWaits;
    QHash<QString, QList<Job>> stayers;
    QHash<QString, QJsonArray> toldAtEnd;  // of each volume since its end began
    bool isToldAtEnd = false;
    QTimer progressTimer;  // runs while either has any
    QSet<QString> unsavedNames;
    QTimer idleTimer;
    bool isStopping = false;
    bool isStopped = false;
};
