#include "transfer/VDProgressBarWindowController.h"

#include "platform/ui/UserInterface.h"

VDProgressBarWindowController::VDProgressBarWindowController()
    : VDProgressBarWindowController(QStringLiteral("VDProgressBarWindow")) {}

VDProgressBarWindowController::VDProgressBarWindowController(qint8 progressType)
    : VDProgressBarWindowController(QStringLiteral("VDProgressBarWindow_%1").arg(progressType)) {}

VDProgressBarWindowController::VDProgressBarWindowController(const QString &windowName)
    : progressBarWindow(UserInterface::current().makeProgressPanel(windowName)) {}

VDProgressBarWindowController::~VDProgressBarWindowController() {
    if (progressBarWindow)
        progressBarWindow->close();
}

void VDProgressBarWindowController::setFileName(const QString &name) {
    if (progressBarWindow)
        progressBarWindow->setFileName(name);
}

void VDProgressBarWindowController::setProgress(double percent, const QString &count) {
    if (!progressBarWindow)
        return;
    progressBarWindow->setValue(percent);
    progressBarWindow->setCountText(count);
}

void VDProgressBarWindowController::show() {
    if (progressBarWindow)
        progressBarWindow->show();
}
