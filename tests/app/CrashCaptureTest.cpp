#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "platform/system/CrashCapture.h"

TEST(CrashCaptureDeathTest, LogsTheCauseAndTheStackAndLetsTheProcessDie) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const struct {
        int number;
        const char *cause;
        std::function<void()> crash;
    } cases[] = {
        {SIGSEGV, "CRASH: SEGV\n", [] { raise(SIGSEGV); }},
        {SIGFPE, "CRASH: FPE\n", [] { raise(SIGFPE); }},
        {SIGABRT, "CRASH: nobody catches this\n",
         [] { std::thread([] { throw std::runtime_error("nobody catches this"); }).join(); }},
    };
    for (const auto &each : cases) {
        EXPECT_EXIT(
            {
                installUncaughtExceptionHandler();
                each.crash();
            },
            testing::KilledBySignal(each.number),
            testing::AllOf(testing::HasSubstr(each.cause), testing::HasSubstr(" Stack Treace:\n")));
    }
}
