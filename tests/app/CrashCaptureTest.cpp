#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "platform/system/CrashCapture.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::KilledBySignal;

TEST(CrashCaptureDeathTest, LogsTheCauseAndTheStackAndLetsTheProcessDie) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const struct {
        int number;
        const char *cause;
    } cases[] = {{SIGSEGV, "CRASH: SEGV\n"},
                 {SIGABRT, "CRASH: ABRT\n"},
                 {SIGBUS, "CRASH: BUS\n"},
                 {SIGFPE, "CRASH: FPE\n"}};
    for (const auto &each : cases) {
        EXPECT_EXIT(
            {
                installUncaughtExceptionHandler();
                raise(each.number);
            },
            KilledBySignal(each.number),
            AllOf(HasSubstr(each.cause), HasSubstr(" Stack Treace:\n")));
    }
    EXPECT_EXIT(
        {
            installUncaughtExceptionHandler();
            std::thread([] { throw std::runtime_error("nobody catches this"); }).join();
        },
        KilledBySignal(SIGABRT),
        AllOf(HasSubstr("CRASH: nobody catches this\n"), HasSubstr(" Stack Treace:\n")));
}
