#include "transfer/VDProgressbar.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>

#include <QTimer>

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "transfer/VDProgressBarWindowController.h"
#include "webdav/ASWDCmdUpload.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kShowDelay = 3s;
constexpr auto kTimerInterval = 1s;

// A file that is uploaded under a temporary name shows by its own.
QString shownName(const QString &path) {
    const QString temporaryPrefix = QStringLiteral("VelmoraDiskUploadTemp_");
    const QString name = VDCommonUtils::lastPathComponent(path);
    return name.startsWith(temporaryPrefix) ? name.mid(temporaryPrefix.size()) : name;
}

QString countText(double percent, const char *textKey) {
    return QStringLiteral("(%1% %2)").arg(QString::number(qint64(percent)), localizedText(textKey));
}

}  // namespace

struct VDProgressbar::Display {
    const quint64 size;
    const std::optional<qint8> displaytype;

    std::atomic<quint64> done{0};  // of what goes in parts

    // Guards the two below, and is held while cmd is asked: nobody but its own thread may be the
    // last to let go of a command.
    std::mutex mutex;
    std::weak_ptr<ASWDCmdPut> cmd;
    QString path;

    // The main thread's.
    std::unique_ptr<VDProgressBarWindowController> prgressWin;
    std::unique_ptr<QTimer> progressTimer;
    std::unique_ptr<QTimer> visibleTimer;

    Display(quint64 size, std::optional<qint8> displaytype)
        : size(size), displaytype(displaytype) {}
    void watch(const std::shared_ptr<ASWDCmdPut> &command);
    std::optional<qint64> sentBytes();
    UploadProgress progress();

    void open(const QString &name);
    void update(quint64 bytes);
    void updateFromCommand();
    void finish();
};

void VDProgressbar::Display::open(const QString &name) {
    prgressWin = displaytype ? std::make_unique<VDProgressBarWindowController>(*displaytype)
                             : std::make_unique<VDProgressBarWindowController>();
    prgressWin->setFileName(name);
    prgressWin->setProgress(0, countText(0, "ProgressBar_1"));
    visibleTimer = std::make_unique<QTimer>();
    visibleTimer->setSingleShot(true);
    QObject::connect(visibleTimer.get(), &QTimer::timeout, [this] { prgressWin->show(); });
    visibleTimer->start(kShowDelay);
}

void VDProgressbar::Display::update(quint64 bytes) {
    if (!prgressWin)
        return;
    const double percent = bytes == size ? 100.0 : double(bytes) * 100.0 / double(size);
    prgressWin->setProgress(percent, countText(percent, "ProgressBar_2"));
}

void VDProgressbar::Display::watch(const std::shared_ptr<ASWDCmdPut> &command) {
    const std::lock_guard lock(mutex);
    cmd = command;
}

std::optional<qint64> VDProgressbar::Display::sentBytes() {
    const std::lock_guard lock(mutex);
    const auto command = cmd.lock();
    const auto connection = command ? command->connection() : nullptr;
    return connection ? connection->processedRequestBodyBytes() : std::nullopt;
}

UploadProgress VDProgressbar::Display::progress() {
    const qint64 total = qint64(size);
    const qint64 sent = std::min(sentBytes().value_or(qint64(done)), total);
    const std::lock_guard lock(mutex);
    return {.path = path, .sent = sent, .total = total};
}

void VDProgressbar::Display::updateFromCommand() {
    if (const auto sent = sentBytes())
        update(*sent);
}

void VDProgressbar::Display::finish() {
    visibleTimer.reset();
    progressTimer.reset();
    prgressWin.reset();
}

VDProgressbar::VDProgressbar(quint64 size, std::optional<qint8> displaytype)
    : display(std::make_shared<Display>(size, displaytype)) {}

VDProgressbar::~VDProgressbar() {
    finishProgress();
}

void VDProgressbar::openWindowWithPath(const QString &path) {
    {
        const std::lock_guard lock(display->mutex);
        display->path = path;
    }
    VDCommonUtils::postToMainThread(
        [display = display, name = shownName(path)] { display->open(name); });
}

void VDProgressbar::setWindowVisible() {
    VDCommonUtils::postToMainThread([display = display] {
        if (display->prgressWin)
            display->prgressWin->show();
    });
}

void VDProgressbar::setCmd(const std::shared_ptr<ASWDCmdPut> &cmd) {
    display->watch(cmd);
}

void VDProgressbar::setTimer() {
    VDCommonUtils::postToMainThread([display = display] {
        display->progressTimer = std::make_unique<QTimer>();
        QObject::connect(display->progressTimer.get(), &QTimer::timeout,
                         [display = display.get()] { display->updateFromCommand(); });
        display->progressTimer->start(kTimerInterval);
    });
}

void VDProgressbar::stopTimar() {
    VDCommonUtils::postToMainThread([display = display] { display->progressTimer.reset(); });
}

UploadProgress VDProgressbar::progress() const {
    return display->progress();
}

void VDProgressbar::nextStatus(quint64 bytes) {
    display->done = bytes;
    VDCommonUtils::postToMainThread([display = display, bytes] { display->update(bytes); });
}

void VDProgressbar::nextStatus() {
    VDCommonUtils::postToMainThread([display = display] { display->updateFromCommand(); });
}

void VDProgressbar::finishProgress() {
    display->watch(nullptr);
    VDCommonUtils::postToMainThread([display = display] { display->finish(); });
}
