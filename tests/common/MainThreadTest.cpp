#include <atomic>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QThread>

#include "common/Log.h"
#include "common/VDCommonUtils.h"
#include "support/RecordingInterface.h"

namespace {

// Runs the work on a thread of its own and serves the main thread's events until it is done.
template <typename Work>
void runBesideMainThread(Work work) {
    std::atomic<bool> isDone = false;
    std::thread thread([&] {
        work();
        isDone = true;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    });
    while (!isDone)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    thread.join();
}

TEST(MainThread, AWorkersAlertIsShownThere) {
    RecordingInterface person;
    bool onMainThread = false;
    person.onAlert = [&](const Alert &) {
        onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        return 1;
    };
    int answer = -1;
    runBesideMainThread([&] {
        answer = VDCommonUtils::showAlert({"title", "text", "", {"OK", "Cancel"}});
    });
    EXPECT_EQ(answer, 1);
    ASSERT_EQ(person.alerts.size(), 1);
    EXPECT_EQ(person.alerts.first().title, "title");
    EXPECT_TRUE(onMainThread);
}

TEST(MainThread, NestedCallsRunAtOnceAndASecondWorkerIsServedMeanwhile) {
    const auto nested = [] { return VDCommonUtils::execMainThread([] { return 5; }); };
    EXPECT_EQ(VDCommonUtils::execMainThread(nested), 5);
    int inner = 0;
    runBesideMainThread([&] {
        VDCommonUtils::execMainThread(
            [&] { runBesideMainThread([&] { inner = VDCommonUtils::execMainThread(nested); }); });
    });
    EXPECT_EQ(inner, 5);
}

struct Logger {
    void write(const std::optional<Error> &error) { VDCommonUtils::outputLog(error); }
};

TEST(Log, LineNamesTheCaller) {
    testing::internal::CaptureStderr();
    Logger().write(Error{"X", 1, {{"OUTPUT", "404\r\n\u0085\u009bない"}}});
    Logger().write(Error{"X", 1, {}});
    Logger().write(std::nullopt);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, testing::MatchesRegex(
                           ".*Logger::write MainThreadTest.cpp:[0-9]+ 404[?] [?][?]ない\n"));
}

TEST(Log, LinesOfSeveralThreadsStayWhole) {
    testing::internal::CaptureStderr();
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 200; ++i)
                VDLog(QString(300, u'x'));
        });
    }
    threads.clear();
    const QStringList lines =
        QString::fromStdString(testing::internal::GetCapturedStderr()).split(u'\n');
    EXPECT_EQ(lines.size(), 801);
    EXPECT_EQ(QSet<QString>(lines.begin(), lines.end()).size(), 2);
}

}  // namespace
