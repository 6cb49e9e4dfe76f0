#include <atomic>
#include <thread>

#include <QDir>
#include <QFile>

#include "platform/system/FileLock.h"

// Also while each holder deletes the file behind it.
TEST(FileLock, IsHeldByOneAtATime) {
    const QString path = QDir::homePath() + "/lock";
    std::atomic<int> inside{0};
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 25; ++round) {
                FileLock lock(path);
                if (lock.take(30'000) != 0 || ++inside != 1)
                    failed = true;
                std::this_thread::yield();
                --inside;
                lock.removeFile();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_FALSE(failed);
    EXPECT_FALSE(QFile::exists(path));
}
