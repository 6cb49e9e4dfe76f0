#include "platform/terminal/TerminalConsole.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <QSocketNotifier>

#include "platform/net/RunLoop.h"
#include "platform/system/SignalWatcher.h"

namespace {

constexpr qsizetype kLineLimit = 64 * 1024;  // bytes

// A line that goes over the edge can't be cleared, so what doesn't fit is left out.
const QByteArray kLineClear = "\r\033[K";
const QByteArray kWrapOff = "\033[?7l";
const QByteArray kWrapOn = "\033[?7h";

bool writeAll(int fd, const QByteArray &text) {
    qsizetype done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd, text.constData() + done, size_t(text.size() - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

// What a server or a name put into a line must not drive the terminal.
QByteArray harmless(QString text) {
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control && character != QLatin1Char('\n') &&
            character != QLatin1Char('\t'))
            character = QChar::ReplacementCharacter;
    }
    return text.toUtf8();
}

// Messages are written for windows, with a paragraph for the remedy.
QString withoutBlankLines(const QString &text) {
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts).join(QLatin1Char('\n'));
}

// Keeps typed characters off the screen. A stopped program would leave the shell without echo, so
// stopping is off as well.
class HiddenInput {
  public:
    HiddenInput() {
        if (tcgetattr(STDIN_FILENO, &before) != 0)
            return;
        termios hidden = before;
        hidden.c_lflag &= ~tcflag_t(ECHO);
        hidden.c_lflag |= ECHONL;
        hidden.c_cc[VSUSP] = _POSIX_VDISABLE;
        isHidden = tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) == 0;
    }
    ~HiddenInput() {
        if (isHidden)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    }
    HiddenInput(const HiddenInput &) = delete;
    HiddenInput &operator=(const HiddenInput &) = delete;
    explicit operator bool() const { return isHidden; }

  private:
    termios before;
    bool isHidden = false;
};

struct Line {
    QByteArray text;
    bool ended = false;
    int signal = 0;
};

// One line of the terminal, with events served while it is typed. A signal is caught from before
// the terminal is changed until after it is in order again.
Line typedLine(int messages, const QByteArray &prompt, bool isSecret) {
    Line line;
    SignalWatcher watcher({SIGINT, SIGTERM, SIGHUP}, [&line](int number) { line.signal = number; });
    std::optional<HiddenInput> hidden;
    // A secret is not asked for on a terminal that would show it.
    if (isSecret && !hidden.emplace())
        return line;
    writeAll(messages, prompt);
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&line] {
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            return;
        line.text.append(buffer, qMax<ssize_t>(count, 0));
        line.ended = count <= 0 || line.text.endsWith('\n') || line.text.size() > kLineLimit;
    });
    RunLoop::current()->runUntil([&line] { return line.ended || line.signal != 0; });
    return line;
}

}  // namespace

TerminalConsole::TerminalConsole() : messages(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {}

TerminalConsole::~TerminalConsole() {
    showProgress({});
    close(messages);
}

void TerminalConsole::print(const QString &line) {
    showProgress({});
    writeAll(STDOUT_FILENO, harmless(line) + '\n');
}

bool TerminalConsole::complain(const QString &line) {
    showProgress({});
    return writeAll(messages,
                    QByteArrayLiteral("velmoradisk: ") + harmless(withoutBlankLines(line)) + '\n');
}

void TerminalConsole::showProgress(const QString &line) {
    const bool canRewrite = isatty(messages) && qgetenv("TERM") != "dumb";
    if (!canRewrite || isAsking || (line.isNull() && !isProgressShown))
        return;
    isProgressShown = !line.isNull();
    writeAll(messages, kLineClear);
    if (isProgressShown)
        writeAll(messages, kWrapOff + harmless(line.simplified()) + kWrapOn);
}

bool TerminalConsole::canAsk() const {
    return isatty(STDIN_FILENO) && isatty(messages);
}

std::optional<QString> TerminalConsole::ask(const QString &text) {
    return prompt(text, false);
}

std::optional<QString> TerminalConsole::askSecret(const QString &text) {
    return prompt(text, true);
}

std::optional<QString> TerminalConsole::prompt(const QString &text, bool isSecret) {
    if (!canAsk())
        return std::nullopt;
    showProgress({});
    isAsking = true;
    Line line = typedLine(messages, harmless(text), isSecret);
    isAsking = false;
    if (line.signal != 0) {
        writeAll(messages, "\n");
        // It was meant for the program, and is served now that the terminal is in order.
        raise(line.signal);
        return std::nullopt;
    }
    if (!line.text.endsWith('\n')) {
        writeAll(messages, "\n");
        return std::nullopt;
    }
    line.text.chop(1);
    return QString::fromUtf8(line.text);
}

std::optional<QString> TerminalConsole::readInputLine() {
    // Byte by byte: what follows the line belongs to whoever reads next.
    QByteArray line;
    char character = 0;
    ssize_t count;
    while ((count = read(STDIN_FILENO, &character, 1)) != 0) {
        if (count < 0 && errno != EINTR)
            return std::nullopt;
        if (count < 0)
            continue;
        if (character == '\n')
            return QString::fromUtf8(line);
        line += character;
        if (line.size() > kLineLimit)
            return std::nullopt;
    }
    return line.isEmpty() ? std::nullopt : std::optional(QString::fromUtf8(line));
}
