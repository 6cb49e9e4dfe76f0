#include <thread>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include "TransferFixture.h"
#include "platform/ui/UserInterface.h"
#include "transfer/VDProgressbar.h"

using namespace std::chrono_literals;

namespace {

// Writes down what its panels show, one line for each step.
class WatchingInterface : public UserInterface {
  public:
    WatchingInterface() { install(this); }
    ~WatchingInterface() override { install(nullptr); }

    int runAlert(const Alert &) override { return 0; }
    bool runLogin(LoginQuestion &) override { return false; }
    void openFolder(const QString &) override {}
    std::unique_ptr<ProgressPanel> makeProgressPanel(const QString &windowName) override {
        lines << "window " + windowName;
        return std::make_unique<Panel>(*this);
    }

    QStringList lines;

  private:
    class Panel : public ProgressPanel {
      public:
        explicit Panel(WatchingInterface &interface) : lines(interface.lines) {}
        void setFileName(const QString &name) override { lines << "name " + name; }
        void setValue(double percent) override { lines << QString("value %1").arg(percent); }
        void setCountText(const QString &text) override { lines << text; }
        void show() override { lines << "show"; }
        void close() override { lines << "close"; }

      private:
        QStringList &lines;
    };
};

class Progress : public TransferFixture {
  protected:
    WatchingInterface interface;

    // Serves the main thread while the work runs on another one.
    void onWorker(const std::function<void()> &work) {
        QEventLoop loop;
        std::jthread worker([&] {
            work();
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        });
        loop.exec();
    }
    QStringList taken() { return std::exchange(interface.lines, {}); }
};

}  // namespace

TEST_F(Progress, PanelTellsNameAndShare) {
    VDProgressbar bar(200, 3);
    bar.openWindowWithPath("/a/VelmoraDiskUploadTemp_letter.doc");
    EXPECT_EQ(taken(), (QStringList{"window VDProgressBarWindow_3", "name letter.doc", "value 0",
                                    "(0% ProgressBar_1)"}));
    bar.nextStatus(199);
    bar.nextStatus(200);
    bar.nextStatus();  // with no command to watch
    EXPECT_EQ(taken(), (QStringList{"value 99.5", "(99% ProgressBar_2)", "value 100",
                                    "(100% ProgressBar_2)"}));
    bar.setWindowVisible();
    bar.finishProgress();
    bar.finishProgress();
    bar.nextStatus(1);
    EXPECT_EQ(taken(), (QStringList{"show", "close"}));

    VDProgressbar plain(0);
    plain.openWindowWithPath("/a/b");
    EXPECT_EQ(taken().first(), "window VDProgressBarWindow");
}

TEST_F(Progress, PartsTellTheirLastByteAndAQuickUploadShowsNothing) {
    connect(Vendor);
    session->uploadDivideSize = 4;
    const QString local = localFile("0123456789");
    onWorker(
        [&] { EXPECT_TRUE(session->fileUpload(local, "/f", {}, nullptr, nullptr, true, &error)); });
    QCoreApplication::processEvents();
    EXPECT_EQ(taken(),
              (QStringList{"window VDProgressBarWindow_0", "name f", "value 0",
                           "(0% ProgressBar_1)", "value 30", "(30% ProgressBar_2)", "value 70",
                           "(70% ProgressBar_2)", "value 90", "(90% ProgressBar_2)", "close"}));
}

TEST_F(Progress, TimerWatchesASlowUploadUntilThePanelComesUp) {
    connect(Standard);
    server.fault({.method = "PUT", .delay = 3300ms});
    const QString local = localFile("0123456789");
    onWorker(
        [&] { EXPECT_TRUE(session->fileUpload(local, "/f", {}, nullptr, nullptr, true, &error)); });
    QCoreApplication::processEvents();
    const QStringList lines = taken();
    EXPECT_TRUE(lines.contains("value 100")) << qPrintable(lines.join('\n'));
    EXPECT_TRUE(lines.contains("show"));
    EXPECT_EQ(lines.last(), "close");
}
