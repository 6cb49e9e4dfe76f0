#include <atomic>
#include <thread>
#include <vector>

#include "Exchange.h"
#include "platform/net/RunLoop.h"
#include "support/TestServer.h"

TEST(RunLoop, PostedWorkRunsOnTheOwnersThreadAndWaitsNest) {
    const auto loop = RunLoop::current();
    EXPECT_EQ(loop, RunLoop::current());
    bool outer = false;
    bool inner = false;
    std::thread([&] {
        EXPECT_NE(loop, RunLoop::current());
        loop->post([&] {
            EXPECT_TRUE(loop->isCurrent());
            outer = true;
            loop->runUntil([&] { return inner; });
        });
        loop->post([&] { inner = true; });
    }).join();
    loop->runUntil([&] { return outer; });
    EXPECT_TRUE(inner);
}

TEST(RunLoop, ALoopWhoseThreadHasEndedDropsWork) {
    std::shared_ptr<RunLoop> gone;
    std::thread([&gone] { gone = RunLoop::current(); }).join();
    const auto witness = std::make_shared<int>(0);
    gone->post([witness] { FAIL(); });
    EXPECT_EQ(witness.use_count(), 1);
}

TEST(RunLoop, AThreadMayEndInTheMiddleOfARequest) {
    TestServer server;
    server.fault({.times = Fault::kAlways, .stall = true});
    std::thread([&server] {
        Exchange exchange;
        exchange.make("GET", server.url("/a"));
        exchange.send();
        waitFor([&server] { return server.countOf("GET") == 1; });
    }).join();
}

TEST(RunLoop, ManyThreadsOfOneSession) {
    TestServer server;
    server.requireLogin(TestServer::Digest, "u", "p");
    server.addFile("/a", QByteArray(10'000, 'a'));
    const auto info = std::make_shared<ASHttpConnectInfo>();
    info->isUseAuthorization = true;
    info->username = "u";
    info->password = "p";
    std::atomic<int> good{0};
    std::vector<std::jthread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 10; ++i) {
                Exchange exchange(info);
                if (exchange.get(server.url("/a")) && exchange.body.size() == 10'000)
                    ++good;
            }
        });
    threads.clear();
    EXPECT_EQ(good, 60);
    EXPECT_EQ(server.connectionCount(), 6);
}
