#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include <QJsonArray>
#include <QJsonObject>
#include <QLocalSocket>

#include "Program.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/SingleInstance.h"
#include "support/TestServer.h"

namespace {

// A command's side of the talk, played by the test.
class Talk {
  public:
    explicit Talk(const QString &socketPath) : channel(ControlChannel::connectTo(socketPath)) {
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
}

TEST_F(Service, ItsSocketAndFilesAreTheUsersAlone) {
    startService();
    for (const QString &path : {SingleInstance::folder(), SingleInstance::socketPath(),
                                program.path("VelmoraDiskLog/velmoradisk.log"),
                                program.path(".config/velmoradisk/preferences.json")}) {
        struct stat status {};
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

TEST_F(Service, AfterTheRightLoginTheServersAnswerIsTold) {
    TestServer server;
    server.requireLogin(TestServer::Basic, "anna", "right");
    startService();
    Talk talk(SingleInstance::socketPath());
    talk.send(mountRequest(server.url("/missing/")));
    for (const char *password : {"wrong", "right"}) {
        const QJsonObject question = talk.await("login");
        ASSERT_TRUE(question.contains("question"));
        EXPECT_FALSE(question.contains("password"));
        talk.send({{"type", "answer"},
                   {"question", question["question"]},
                   {"accepted", true},
                   {"username", "anna"},
                   {"password", password}});
    }
    EXPECT_FALSE(talk.await("alert")["text"].toString().isEmpty());
    EXPECT_EQ(talk.await("result")["ok"], false);
    EXPECT_FALSE(program.everything().contains("right"));
}

TEST_F(Service, TheMarkOfAConnectionThatFailsToMountAtStartIsDropped) {
    for (const QString name : {"Marked", "Chosen"})
        program.run({"connection", "add", name, "--url", "http://127.0.0.1:1/", "--auto-mount",
                     "yes", "--mount-point", program.path("volumes/" + name)});
    const auto result = program.run({"mount", "Chosen"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.messages.contains("Marked")) << result.messages.toStdString();
    const auto isMarked = [this](const char *name) {
        return program.run({"connection", "show", name, "--json"})
            .output.contains("\"isAutoMount\": true");
    };
    EXPECT_FALSE(isMarked("Marked"));
    EXPECT_TRUE(isMarked("Chosen"));
}

TEST_F(Service, TheMarkedConnectionsAreMountedAlsoByAnInstanceThatRuns) {
    TestServer server;
    startService();
    const Talk keeping(SingleInstance::socketPath());
    const auto none = program.run({"mount", "--auto"});
    EXPECT_EQ(none.code, 0);
    EXPECT_TRUE(none.output.contains("marked")) << none.messages.toStdString();
    for (const QString name : {"First", "Second"})
        program.run({"connection", "add", name, "--url", server.url(), "--auto-mount", "yes",
                     "--mount-point", program.path("volumes/" + name)});
    EXPECT_EQ(program.run({"mount", "--auto", "First"}).code, 2);
    const auto both = program.run({"mount", "--auto"});
    EXPECT_EQ(both.code, 0) << both.messages.toStdString();
    EXPECT_EQ(both.output.count(program.path("volumes/")), 2) << both.output.toStdString();
    EXPECT_TRUE(program.run({"mount", "--auto"}).output.contains("already"));
    for (const QString name : {"First", "Second"})
        EXPECT_EQ(program.run({"unmount", name}).code, 0);
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
    QLocalSocket socket;
    socket.connectToServer(SingleInstance::socketPath());
    for (const char *piece :
         {"not json\n[1]\n{\"command\":\"sta", "tus\"}\n{\"command\":\"nonsense\"}\n"}) {
        socket.write(piece);
        ASSERT_TRUE(socket.waitForBytesWritten());
    }
    QByteArray answers;
    while (answers.count('\n') < 3 && socket.waitForReadyRead(5000))
        answers.append(socket.readAll());
    EXPECT_EQ(answers.count("\"hello\""), 1);
    EXPECT_EQ(answers.count("\"ok\":true"), 1);
    EXPECT_EQ(answers.count("\"ok\":false"), 1);

    // A line without end is no message: the talk is over, and the instance goes on.
    socket.write(QByteArray(3 * 1024 * 1024, 'x'));
    EXPECT_TRUE(waitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; }));
    EXPECT_EQ(program.run({"status"}).code, 0);
}
