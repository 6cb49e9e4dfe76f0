#include "platform/desktop/ProgressWindow.h"

#include <utility>

#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QWidget>

#include "platform/desktop/Forms.h"

namespace {

constexpr int kNameWidth = 48;  // characters; a longer name loses its middle
constexpr int kMargin = 48;     // pixels between a panel, its neighbours and the screen's edge

// In the corner, above those that are there, so that it covers nothing that is being answered.
QPoint placeFor(const QWidget &window, int others) {
    const QRect area = window.screen()->availableGeometry();
    const QSize step = window.size() + QSize(kMargin, kMargin);
    return {area.right() - step.width(), area.bottom() - step.height() * (1 + others)};
}

int visiblePanels = 0;  // the main thread's

QLabel &label(const QWidget &window, const char *name) {
    return *window.findChild<QLabel *>(QLatin1String(name));
}

}  // namespace

ProgressWindow::ProgressWindow(const QString &windowName) : window(makeForm(windowName)) {
    window->setWindowFlags(Qt::Tool | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    window->setAttribute(Qt::WA_ShowWithoutActivating);
}

ProgressWindow::~ProgressWindow() {
    close();
}

void ProgressWindow::setFileName(const QString &name) {
    QLabel &shown = label(*window, "fileName");
    const int width = shown.fontMetrics().averageCharWidth() * kNameWidth;
    shown.setMinimumWidth(width);
    shown.setText(shown.fontMetrics().elidedText(name, Qt::ElideMiddle, width));
    shown.setToolTip(name.toHtmlEscaped());
}

void ProgressWindow::setValue(double percent) {
    window->findChild<QProgressBar *>(QStringLiteral("progressBar"))->setValue(int(percent));
}

void ProgressWindow::setCountText(const QString &text) {
    label(*window, "progressCount").setText(text);
}

void ProgressWindow::show() {
    if (std::exchange(isOpen, true))
        return;
    window->adjustSize();
    window->move(placeFor(*window, visiblePanels++));
    window->show();
}

void ProgressWindow::close() {
    if (!std::exchange(isOpen, false))
        return;
    --visiblePanels;
    window->hide();
}
