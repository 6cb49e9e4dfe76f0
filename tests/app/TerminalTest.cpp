#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <QSocketNotifier>

#include "Program.h"

namespace {

// The program on a terminal of its own, whose person is the test.
class Terminal {
  public:
    explicit Terminal(const QStringList &arguments) {
        EXPECT_EQ(openpty(&person, &line, nullptr, nullptr, nullptr), 0);
        process.setChildProcessModifier([this] {
            setsid();
            ioctl(line, TIOCSCTTY, 0);
            for (int fd = 0; fd < 3; ++fd)
                dup2(line, fd);
        });
        process.start(VELMORADISK_PROGRAM, arguments);
        notifier = std::make_unique<QSocketNotifier>(person, QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this] {
            char buffer[4096];
            const ssize_t count = read(person, buffer, sizeof buffer);
            if (count <= 0)
                return notifier->setEnabled(false);
            seen.append(buffer, count);
        });
    }
    ~Terminal() {
        notifier.reset();
        process.kill();
        process.waitForFinished();
        close(person);
        close(line);
    }

    bool sees(const QByteArray &text, int times = 1) {
        return waitFor([&] { return seen.count(text) >= times; });
    }
    void type(const QByteArray &text) {
        EXPECT_EQ(write(person, text.constData(), size_t(text.size())), text.size());
    }
    bool echoes() const {
        termios settings;
        return tcgetattr(line, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
    }
    bool ends() {
        return waitFor([this] { return process.state() == QProcess::NotRunning; });
    }

    QProcess process;
    QByteArray seen;

  private:
    int person = -1;
    int line = -1;
    std::unique_ptr<QSocketNotifier> notifier;
};

}  // namespace

TEST(TerminalPrompt, APasswordIsTypedTwiceAndNotShown) {
    Program home;
    const struct {
        const char *first;
        const char *second;
        int code;
    } cases[] = {{"geheim", "geheim", 0}, {"geheim", "other", 1}};
    for (const auto &each : cases) {
        Terminal terminal({"connection", "add", "A", "--url", "http://h/", "--save-password"});
        ASSERT_TRUE(terminal.sees("Password: "));
        EXPECT_TRUE(poll([&] { return !terminal.echoes(); }));
        terminal.type(QByteArray(each.first) + "\n");
        ASSERT_TRUE(terminal.sees("Again: "));
        terminal.type(QByteArray(each.second) + "\n");
        ASSERT_TRUE(terminal.ends());
        EXPECT_EQ(terminal.process.exitCode(), each.code);
        EXPECT_TRUE(terminal.echoes());
        EXPECT_FALSE(terminal.seen.contains("geheim"));
        EXPECT_EQ(home.run({"connection", "remove", "A"}).code, each.code);
    }
}

TEST(TerminalPrompt, ASignalLeavesTheTerminalAsItWas) {
    Program home;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Terminal terminal({"connection", "add", "A", "--url", "http://h/", "--save-password"});
        ASSERT_TRUE(terminal.sees("Password: "));
        ASSERT_TRUE(poll([&] { return !terminal.echoes(); }));
        kill(pid_t(terminal.process.processId()), number);
        ASSERT_TRUE(terminal.ends());
        EXPECT_EQ(terminal.process.exitStatus(), QProcess::CrashExit);
        EXPECT_EQ(terminal.process.exitCode(), number);
        EXPECT_TRUE(terminal.echoes());
    }
    EXPECT_EQ(home.run({"connection", "list"}).output, QString());
}
