#include "HeldKeys.h"

#include <QApplication>
#include <QInputEvent>
#include <QWidget>

HeldKeys::HeldKeys(QWidget &window) : window(window) {
    qApp->installEventFilter(this);
}

std::shared_ptr<void> HeldKeys::holdAlt() {
    isHeld = true;
    return {this, [](HeldKeys *keys) { keys->isHeld = false; }};
}

bool HeldKeys::eventFilter(QObject *watched, QEvent *event) {
    const auto *const widget = qobject_cast<QWidget *>(watched);
    if (!widget || widget->window() != &window)
        return false;
    switch (event->type()) {
        case QEvent::Shortcut:
            isHeld = false;
            break;
        case QEvent::KeyPress:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
            isHeld = static_cast<QInputEvent *>(event)->modifiers().testFlag(Qt::AltModifier);
            break;
        default:
            break;
    }
    return false;
}
