#include <thread>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include "TransferFixture.h"
#include "platform/ui/UserInterface.h"
#include "support/WaitFor.h"
#include "transfer/VDProgressbar.h"
#include "webdav/ASWDCmdUpload.h"

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

    // What is still posted must not find the interface gone.
    void TearDown() override {
        QCoreApplication::sendPostedEvents();
        TransferFixture::TearDown();
    }

    // What an upload with a panel shows, while the main thread is served.
    QStringList upload() {
        const QString local = localFile("0123456789");
        QEventLoop loop;
        std::jthread worker([&] {
            EXPECT_TRUE(session->fileUpload(local, "/f", {}, nullptr, nullptr, true, &failure));
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        });
        loop.exec();
        QCoreApplication::processEvents();
        return taken();
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
    start(Vendor);
    session->uploadDivideSize = 4;
    EXPECT_EQ(upload(),
              (QStringList{"window VDProgressBarWindow_0", "name f", "value 0",
                           "(0% ProgressBar_1)", "value 30", "(30% ProgressBar_2)", "value 70",
                           "(70% ProgressBar_2)", "value 90", "(90% ProgressBar_2)", "close"}));
}

// Whoever waits for uploads looks at them from another thread, and may break one off.
TEST_F(Progress, AnUploadIsToldWhileItRunsAndFailsWhenItIsCancelled) {
    start(Standard);
    server.fault({.method = "PUT", .delay = 20s});
    const QString local = localFile("0123456789");
    const auto command = std::make_shared<ASWDCmdPut>(session->itemUrl("/a/f"), session->coninfo);
    bool succeeded = true;
    std::jthread worker([&] {
        succeeded = session->fileUpload(local, "/a/f", {}, command, nullptr, true, &failure);
    });
    QTimer beat;
    beat.start(5ms);
    EXPECT_TRUE(waitFor([&] {
        const auto uploads = session->uploadsUnderWay();
        return uploads.size() == 1 && uploads[0].path == "/a/f" && uploads[0].sent == 10 &&
               uploads[0].total == 10;
    }));
    command->cancel();
    worker.join();
    EXPECT_FALSE(succeeded);
    EXPECT_TRUE(failure);
    EXPECT_TRUE(session->uploadsUnderWay().isEmpty());
}

TEST_F(Progress, TimerWatchesASlowUploadUntilThePanelComesUp) {
    start(Standard);
    server.fault({.method = "PUT", .delay = 3300ms});
    const QStringList lines = upload();
    EXPECT_TRUE(lines.contains("value 100")) << qPrintable(lines.join('\n'));
    EXPECT_TRUE(lines.contains("show"));
    EXPECT_EQ(lines.last(), "close");
}
