#include "platform/desktop/ProgressWindow.h"

#include <QLabel>
#include <QProgressBar>
#include <QWidget>

#include "platform/desktop/Forms.h"

namespace {

constexpr int kNameWidth = 48;  // characters; a longer name loses its middle

QLabel &label(const QWidget &window, const char *name) {
    return *window.findChild<QLabel *>(QLatin1String(name));
}

}  // namespace

ProgressWindow::ProgressWindow(const QString &windowName) : window(makeForm(windowName)) {
    window->setWindowFlags(Qt::Tool | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    window->setAttribute(Qt::WA_ShowWithoutActivating);
}

ProgressWindow::~ProgressWindow() = default;

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
    window->show();
}

void ProgressWindow::close() {
    window->hide();
}
