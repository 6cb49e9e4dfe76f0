#include <atomic>
#include <thread>

#include "cache/ExpiryCacheGeneric.h"
#include "cache/FileListCache.h"
#include "cache/FileSystemInfoCache.h"

namespace {

using namespace std::chrono_literals;

// A clock that only a test moves. Shared with a cache's thread.
class TestClock {
  public:
    void advance(std::chrono::milliseconds by) { *elapsed += by.count(); }
    CacheTime now() const { return start + std::chrono::milliseconds(*elapsed); }
    // No sweep comes by itself with the long tick.
    CacheTiming timing(std::chrono::microseconds tick = std::chrono::hours(1)) const {
        return {[clock = *this] { return clock.now(); }, tick};
    }

  private:
    CacheTime start = cacheNow();
    std::shared_ptr<std::atomic<qint64>> elapsed = std::make_shared<std::atomic<qint64>>(0);
};

// Fails the test when the condition doesn't come true within seconds.
template <typename Condition>
bool becomesTrue(Condition condition) {
    for (int attempt = 0; attempt < 5000; ++attempt) {
        if (condition())
            return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

std::shared_ptr<int> number() {
    return std::make_shared<int>(1);
}

struct Disposing {
    ExpiryCacheGeneric &cache;
    ~Disposing() { cache.dispose(); }
};

}  // namespace

TEST(ExpiryCacheGeneric, ValueGoesAtItsTimeUnlessOwned) {
    TestClock clock;
    ExpiryCacheGeneric cache(30.0, clock.timing());
    const Disposing disposing{cache};
    auto owned = number();
    cache.insert("owned", owned);
    cache.insert("loose", number());
    clock.advance(29999ms);
    EXPECT_TRUE(cache.get("loose"));
    clock.advance(1ms);
    EXPECT_FALSE(cache.get("loose"));
    EXPECT_FALSE(cache.getExpire("loose"));
    EXPECT_EQ(cache.get("owned"), owned);
    EXPECT_EQ(cache.KeySet(), QStringList{"owned"});
    EXPECT_EQ(cache.getExpire("owned"), clock.now() + 30s);
    owned.reset();
    clock.advance(30s);
    EXPECT_FALSE(cache.get("owned"));

    cache.insert("a", number(), clock.now() - 20s);
    EXPECT_EQ(cache.getExpire("a"), clock.now() + 10s);
    cache.renewCache("a");
    EXPECT_EQ(cache.getExpire("a"), clock.now() + 30s);
    cache.renewCache("unknown");
    EXPECT_FALSE(cache.getExpire("unknown"));
}

TEST(ExpiryCacheGeneric, ThreadSweepsWhatNobodyAsksFor) {
    TestClock clock;
    ExpiryCacheGeneric cache(3.0, clock.timing(100us));
    const Disposing disposing{cache};
    const auto owned = number();
    cache.insert("owned", owned);
    cache.insert("loose", number());
    clock.advance(4s);
    EXPECT_TRUE(becomesTrue([&] { return cache.KeySet() == QStringList{"owned"}; }));
}

TEST(ExpiryCacheGeneric, DisposeEmptiesAndEndsAtOnce) {
    TestClock clock;
    std::weak_ptr<int> value;
    const auto before = cacheNow();
    {
        ExpiryCacheGeneric cache(30.0, clock.timing());
        const auto kept = number();
        value = kept;
        cache.insert("a", kept);
        cache.dispose();
        EXPECT_TRUE(becomesTrue([&] { return cache.KeySet().isEmpty(); }));
    }
    EXPECT_TRUE(value.expired());
    EXPECT_LT(cacheNow() - before, 5s);
}

TEST(ExpiryCacheGeneric, DroppedWithoutDisposeRunsOn) {
    TestClock clock;
    auto kept = number();
    const std::weak_ptr<int> value = kept;
    ExpiryCacheGeneric(1.0, clock.timing(100us)).insert("a", std::exchange(kept, nullptr));
    EXPECT_FALSE(value.expired());
    clock.advance(2s);
    EXPECT_TRUE(becomesTrue([&] { return value.expired(); }));
}

TEST(FileListCache, RemovalTakesTheSubtreeAndIgnoresComposition) {
    FileListCache cache;
    const Disposing disposing{cache};
    const auto list = [](const QStringList &names) { return std::make_shared<QStringList>(names); };
    cache.insertFileList(QStringLiteral("/caf\u00e9"), list({"b"}));
    cache.insertFileList(QStringLiteral("/cafe\u0301/b"), list({"c"}));
    cache.insertFileList(QStringLiteral("/caf\u00e9/b/c"), list({}));
    cache.insertFileList("/other", list({"b"}));
    cache.removeFileList("/unknown");
    EXPECT_EQ(cache.KeySet().size(), 4);
    cache.removeFileList(QStringLiteral("/cafe\u0301"));
    EXPECT_EQ(cache.KeySet(), QStringList{"/other"});
}

TEST(FileSystemInfoCache, RecordHoldsForAMinute) {
    TestClock clock;
    FileSystemInfoCache cache([clock] { return clock.now(); });
    const auto fresh = [&] { return std::make_shared<FileSystemInfo>(clock.now()); };
    cache.setInfo("/a", fresh());
    cache.setInfo("/m", fresh());
    clock.advance(60s);
    EXPECT_TRUE(cache.getInfo("/m"));
    cache.setInfo("/z", fresh());
    clock.advance(1ms);
    EXPECT_FALSE(cache.getInfo("/m"));
    EXPECT_TRUE(cache.getInfo("/z"));
}
