#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "Program.h"

namespace {

// The program on a terminal of its own, asking for a password.
class Terminal {
  public:
    Terminal() {
        EXPECT_EQ(openpty(&person, &line, nullptr, nullptr, nullptr), 0);
        process.setChildProcessModifier([this] {
            setsid();
            ioctl(line, TIOCSCTTY, 0);
            for (int fd = 0; fd < 3; ++fd)
                dup2(line, fd);
        });
        process.start(VELMORADISK_PROGRAM,
                      {"connection", "add", "A", "--url", "http://h/", "--save-password"});
        EXPECT_TRUE(poll([this] { return !echoes(); }));
    }
    ~Terminal() {
        process.kill();
        process.waitForFinished();
        close(person);
        close(line);
    }

    bool echoes() const {
        termios settings;
        return tcgetattr(line, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
    }
    bool ends() {
        return waitFor([this] { return process.state() == QProcess::NotRunning; });
    }

    QProcess process;

  private:
    int person = -1;
    int line = -1;
};

}  // namespace

TEST(TerminalPrompt, ASignalLeavesTheTerminalAsItWas) {
    Program home;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Terminal terminal;
        kill(pid_t(terminal.process.processId()), number);
        ASSERT_TRUE(terminal.ends());
        EXPECT_EQ(terminal.process.exitStatus(), QProcess::CrashExit);
        EXPECT_EQ(terminal.process.exitCode(), number);
        EXPECT_TRUE(terminal.echoes());
    }
    EXPECT_EQ(home.run({"connection", "list"}).output, "");
}
