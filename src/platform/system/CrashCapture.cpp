#include "platform/system/CrashCapture.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <execinfo.h>
#include <iterator>
#include <unistd.h>

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};
constexpr int kMaximumFrames = 64;
// A stack that has overflown cannot run its own handler.
alignas(16) char signalStack[64 * 1024];

// Only calls that are safe in a signal handler.
void put(const char *text) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, strlen(text));
}

void logCrash(const char *what, const char *line) {
    static constexpr char kPrefix[] = "uncaughtExceptionHandler CrashCapture.cpp:";
    put(kPrefix);
    put(line);
    put(" CRASH: ");
    put(what);
    put("\n");
    put(kPrefix);
    put(line);
    // Spelt so since the first log that was ever sent in; readers search for it.
    put(" Stack Treace:\n");
    void *frames[kMaximumFrames];
    backtrace_symbols_fd(frames, backtrace(frames, kMaximumFrames), STDERR_FILENO);
}

#define STRING_OF(number) #number
#define LINE_AS_TEXT(number) STRING_OF(number)

void onSignal(int number) {
    const char *name = sigabbrev_np(number);
    logCrash(name ? name : "signal", LINE_AS_TEXT(__LINE__));
    // The handler was reset on entry: the signal now does what it would have done.
    raise(number);
}

[[noreturn]] void onTerminate() {
    const char *what = "terminate";
    try {
        if (const auto exception = std::current_exception())
            std::rethrow_exception(exception);
    } catch (const std::exception &exception) {
        what = exception.what();
    } catch (...) {
        what = "exception of unknown type";
    }
    logCrash(what, LINE_AS_TEXT(__LINE__));
    signal(SIGABRT, SIG_DFL);
    abort();
}

}  // namespace

void installUncaughtExceptionHandler() {
    // The first call loads a library, which a handler must not.
    void *frame[1];
    backtrace(frame, 1);

    const stack_t stack = {.ss_sp = signalStack, .ss_flags = 0, .ss_size = sizeof signalStack};
    sigaltstack(&stack, nullptr);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK);
    for (int number : kFatalSignals)
        sigaction(number, &action, nullptr);
    std::set_terminate(onTerminate);
}
