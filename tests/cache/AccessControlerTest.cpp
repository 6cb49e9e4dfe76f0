#include <future>

#include "cache/AccessControler.h"

namespace {

using namespace std::chrono_literals;

constexpr double kNever = 3600;

std::future<void> waitFor(AccessControler &queue, const QString &path, const void *token) {
    return std::async(std::launch::async, [&queue, path, token] { queue.getLock(path, token); });
}

bool isWaiting(std::future<void> &call) {
    return call.wait_for(20ms) == std::future_status::timeout;
}

}  // namespace

TEST(AccessControler, NextInLineGetsThePathAtUnlock) {
    AccessControler queue(kNever);
    int first, second;
    EXPECT_FALSE(queue.exsitLock("/a"));
    queue.getLock(QStringLiteral("/caf\u00e9"), &first);
    EXPECT_TRUE(queue.exsitLock(QStringLiteral("/cafe\u0301")));
    auto call = waitFor(queue, QStringLiteral("/cafe\u0301"), &second);
    EXPECT_TRUE(isWaiting(call));
    queue.unLock(QStringLiteral("/cafe\u0301"), &second);
    EXPECT_TRUE(isWaiting(call)) << "only the head can give the path back";
    queue.getLock("/other", &second);
    queue.unLock(QStringLiteral("/cafe\u0301"), &first);
    EXPECT_EQ(call.wait_for(5s), std::future_status::ready);
    EXPECT_TRUE(queue.exsitLock(QStringLiteral("/caf\u00e9")));
    queue.unLock(QStringLiteral("/caf\u00e9"), &second);
    EXPECT_FALSE(queue.exsitLock(QStringLiteral("/caf\u00e9")));
}

TEST(AccessControler, HolderIsPushedOutAtItsLimit) {
    AccessControler queue(0.05);
    int first, second, third;
    const auto start = std::chrono::steady_clock::now();
    queue.getLock("/a", &first);
    auto second_call = waitFor(queue, "/a", &second);
    auto third_call = waitFor(queue, "/a", &third);
    // Neither of the holders lets go.
    ASSERT_EQ(second_call.wait_for(5s), std::future_status::ready);
    ASSERT_EQ(third_call.wait_for(5s), std::future_status::ready);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    queue.unLock("/a", &first);
}
