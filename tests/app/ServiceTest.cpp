#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>

#include <QJsonArray>
#include <QJsonObject>

#include "Program.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/SingleInstance.h"
#include "support/TestServer.h"

namespace {

// A command's side of the talk, played by the test.
class Talk {
  public:
    explicit Talk(const QString &socketPath) : channel(ControlChannel::connectTo(socketPath)) {
        if (!channel)
            return;
        channel->onMessage = [this](const QJsonObject &message) { messages += message; };
        channel->onClosed = [] {};
    }

    void send(const QJsonObject &message) { channel->send(message); }
    // The next message of that type; empty when none comes.
    QJsonObject await(const QString &type) {
        QJsonObject found;
        waitFor([&] {
            while (found.isEmpty() && !messages.isEmpty()) {
                const QJsonObject message = messages.takeFirst();
                if (message["type"] == type)
                    found = message;
            }
            return !found.isEmpty() || !channel->isOpen();
        });
        return found;
    }

    std::shared_ptr<ControlChannel> channel;
    QList<QJsonObject> messages;
};

class Service : public testing::Test {
  protected:
    QProcess &startService() {
        QProcess &process = program.start({"service"});
        EXPECT_TRUE(poll(
            [] { return ControlChannel::connectTo(SingleInstance::socketPath()) != nullptr; }));
        return process;
    }
    QJsonObject mountRequest(const QString &url) const {
        return {{"command", "mount"},
                {"url", url},
                {"name", "V"},
                {"mountPoint", program.path("volumes/V")}};
    }
    // No mount, process, socket or store is left.
    void expectNothingLeft() {
        EXPECT_TRUE(poll([] { return Program::isAlone(); }));
        EXPECT_FALSE(QFile::exists(SingleInstance::socketPath()));
        EXPECT_FALSE(QFile::exists(program.path(".VelmoraDisk_Store")));
        EXPECT_FALSE(QFile::exists(program.path("volumes/V")));
    }

    void SetUp() override { QDir(program.path({})).mkdir("volumes"); }

    Program program;
};

}  // namespace

TEST_F(Service, OnlyOneOfManyAtOnceBecomesTheInstance) {
    std::atomic<int> taken{0}, held{0}, done{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            SingleInstance instance;
            ++(instance.take() == SingleInstance::Outcome::Taken ? taken : held);
            ++done;
            while (done < 8)
                std::this_thread::yield();
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(held, 7);
    struct stat status;
    ASSERT_EQ(stat(QFile::encodeName(SingleInstance::folder()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(Service, CommandsStartedAtOnceAreAllServed) {
    QList<QProcess *> running;
    for (int i = 0; i < 6; ++i)
        running += &program.start({"mount", "http://127.0.0.1:1/", "--name", QString::number(i),
                                   "--mount-point", program.path("volumes/V")});
    for (QProcess *process : running) {
        const auto result = program.finish(*process);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(result.messages.contains("could not be reached"))
            << result.messages.toStdString();
    }
    expectNothingLeft();
}

TEST_F(Service, AStaleSocketIsReplaced) {
    ASSERT_TRUE(SingleInstance::makeFolder());
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, QFile::encodeName(SingleInstance::socketPath()).constData(),
             sizeof address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(fd);
    const auto result =
        program.run({"mount", "http://127.0.0.1:1/", "--mount-point", program.path("volumes/V")});
    EXPECT_TRUE(result.messages.contains("could not be reached")) << result.messages.toStdString();
    expectNothingLeft();
}

TEST_F(Service, ItsSocketAndFilesAreTheUsersAlone) {
    startService();
    for (const QString &path :
         {SingleInstance::socketPath(), program.path("VelmoraDiskLog/velmoradisk.log"),
          program.path(".config/velmoradisk/preferences.json")}) {
        struct stat status;
        ASSERT_EQ(stat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
        EXPECT_EQ(status.st_mode & 077, 0u) << path.toStdString();
    }
}

TEST_F(Service, AQuestionThatIsNotAnsweredIsCancelled) {
    TestServer plain;
    plain.requireLogin(TestServer::Basic, "anna", "right");
    TestServer secure(TestServer::Https);
    enum How { cancel, hangUp, endService };
    for (TestServer *server : {&plain, &secure}) {
        for (const How how : {cancel, hangUp, endService}) {
            SCOPED_TRACE(how);
            QProcess &service = startService();
            Talk talk(SingleInstance::socketPath());
            ASSERT_FALSE(talk.await("hello").isEmpty());
            talk.send(mountRequest(server->url()));
            const QJsonObject question = talk.await(server == &plain ? "login" : "alert");
            ASSERT_TRUE(question.contains("question"));

            // The others are served meanwhile.
            Talk other(SingleInstance::socketPath());
            other.send({{"command", "status"}});
            EXPECT_EQ(other.await("result")["mounts"], QJsonArray());
            other.channel.reset();

            if (how == cancel)
                talk.send(
                    {{"type", "answer"}, {"question", question["question"]}, {"accepted", false}});
            if (how == hangUp)
                talk.channel.reset();
            if (how == endService)
                kill(pid_t(service.processId()), SIGTERM);
            if (how != hangUp) {
                EXPECT_EQ(talk.await("result")["ok"], false);
            }
            talk.channel.reset();
            EXPECT_EQ(program.finish(service).code, 0);
            expectNothingLeft();
        }
    }
}

TEST_F(Service, ALoginIsAskedForUntilItIsRight) {
    TestServer server;
    server.requireLogin(TestServer::Basic, "anna", "right");
    startService();
    Talk talk(SingleInstance::socketPath());
    QJsonObject request = mountRequest(server.url("/missing/"));
    request["username"] = "otto";
    talk.send(request);
    const char *const passwords[] = {"wrong", "right"};
    for (const char *password : passwords) {
        const QJsonObject question = talk.await("login");
        ASSERT_TRUE(question.contains("question"));
        EXPECT_EQ(question["username"], password == passwords[0] ? "otto" : "anna");
        EXPECT_FALSE(question.contains("password"));
        talk.send({{"type", "answer"},
                   {"question", question["question"]},
                   {"accepted", true},
                   {"username", "anna"},
                   {"password", password}});
    }
    // Logged in, and nothing there: the server's answer is told, not the login.
    EXPECT_FALSE(talk.await("alert")["text"].toString().isEmpty());
    EXPECT_EQ(talk.await("result")["ok"], false);
    EXPECT_FALSE(program.everything().contains("right"));
}

TEST_F(Service, WithoutATerminalTheMessageNamesTheOption) {
    TestServer plain;
    plain.requireLogin(TestServer::Digest, "anna", "right");
    TestServer secure(TestServer::Https);
    const auto loginNeeded =
        program.run({"mount", plain.url(), "--mount-point", program.path("volumes/V")});
    EXPECT_EQ(loginNeeded.code, 1);
    EXPECT_TRUE(loginNeeded.messages.contains("--password-stdin"))
        << loginNeeded.messages.toStdString();
    const auto untrusted =
        program.run({"mount", secure.url(), "--mount-point", program.path("volumes/V")});
    EXPECT_EQ(untrusted.code, 1);
    EXPECT_TRUE(untrusted.messages.contains("--accept-certificate"))
        << untrusted.messages.toStdString();
    expectNothingLeft();
}

TEST_F(Service, TheMarkOfAConnectionThatFailsToMountAtStartIsDropped) {
    program.run({"connection", "add", "Marked", "--url", "http://127.0.0.1:1/", "--auto-mount",
                 "yes", "--mount-point", program.path("volumes/M")});
    program.run({"connection", "add", "Chosen", "--url", "http://127.0.0.1:1/", "--auto-mount",
                 "yes", "--mount-point", program.path("volumes/V")});
    const auto result = program.run({"mount", "Chosen"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.messages.contains("Marked")) << result.messages.toStdString();
    EXPECT_TRUE(program.run({"connection", "show", "Marked", "--json"})
                    .output.contains("\"isAutoMount\": false"));
    EXPECT_TRUE(program.run({"connection", "show", "Chosen", "--json"})
                    .output.contains("\"isAutoMount\": true"));
}

TEST_F(Service, ForegroundEndsByASignalWhileItConnects) {
    TestServer server;
    server.fault({.method = "OPTIONS", .times = Fault::kAlways, .stall = true});
    QProcess &process = program.start(
        {"mount", server.url(), "--mount-point", program.path("volumes/V"), "--foreground"});
    ASSERT_TRUE(server.waitForRequests("OPTIONS", {}, 1));
    kill(pid_t(process.processId()), SIGINT);
    EXPECT_EQ(program.finish(process).code, 1);
    expectNothingLeft();
}

TEST_F(Service, MessagesAreTakenWholeWhateverTheirPieces) {
    startService();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, QFile::encodeName(SingleInstance::socketPath()).constData(),
             sizeof address.sun_path);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    for (const QByteArray &piece : QList<QByteArray>{"not json\n[1]\n{\"command\":\"sta",
                                                     "tus\"}\n{\"command\":\"nonsense\"}\n"})
        ASSERT_EQ(write(fd, piece.constData(), size_t(piece.size())), piece.size());
    QByteArray answers;
    char buffer[4096];
    ssize_t count;
    while (answers.count('\n') < 3 && (count = read(fd, buffer, sizeof buffer)) > 0)
        answers.append(buffer, count);
    EXPECT_EQ(answers.count("\"hello\""), 1);
    EXPECT_EQ(answers.count("\"ok\":true"), 1);
    EXPECT_EQ(answers.count("\"ok\":false"), 1);

    // A line without end is no message: the talk is over, and the instance goes on.
    const QByteArray endless(3 * 1024 * 1024, 'x');
    qsizetype sent = 0;
    while (sent < endless.size() && (count = send(fd, endless.constData() + sent,
                                                  size_t(endless.size() - sent), MSG_NOSIGNAL)) > 0)
        sent += count;
    while (read(fd, buffer, sizeof buffer) > 0) {
    }
    close(fd);
    EXPECT_EQ(program.run({"status"}).code, 0);
}
