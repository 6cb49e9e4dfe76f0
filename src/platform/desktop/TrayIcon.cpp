#include "platform/desktop/TrayIcon.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QIcon>
#include <QMenu>
#include <QPalette>

namespace {

// A panel doesn't tell its colour; most have that of the windows.
bool isDarkDesktop() {
    const QPalette palette = QApplication::palette();
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

}  // namespace

TrayIcon::TrayIcon(QMenu &menu) {
    icon.setContextMenu(&menu);
    QObject::connect(&icon, &QSystemTrayIcon::activated, this,
                     [&menu](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger)
                             menu.popup(QCursor::pos());
                     });
    qApp->installEventFilter(this);
    draw();
    icon.show();
}

void TrayIcon::setState(bool mounted, bool uploading) {
    if (mounted == isMounted && uploading == isUploading)
        return;
    isMounted = mounted;
    isUploading = uploading;
    draw();
}

bool TrayIcon::eventFilter(QObject *watched, QEvent *event) {
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        draw();
    return false;
}

void TrayIcon::draw() {
    const QString panel = isDarkDesktop() ? QStringLiteral("dark") : QStringLiteral("light");
    const QString mark = isUploading ? QStringLiteral("-uploading")
                         : isMounted ? QStringLiteral("-mounted")
                                     : QString();
    icon.setIcon(QIcon(QStringLiteral(":/icons/menuicon-%1%2.svg").arg(panel, mark)));
}
