#include "platform/ui/Controls.h"

#include "platform/net/RunLoop.h"

void Control::tellView() const {
    if (onChanged)
        onChanged();
}

void Control::act() const {
    if (action)
        action();
}

void TextField::setText(const QString &text) {
    // "" and null are the same to the view.
    if (std::exchange(value, text.isNull() ? QStringLiteral("") : text) != text)
        tellView();
}

void CheckBox::userSet(bool state) {
    if (std::exchange(on, state) != state)
        act();
}

void Button::userPress() {
    if (isEnabled() && !isHidden())
        act();
}

void Choice::userSelect(int index) {
    if (std::exchange(chosen, index) != index)
        act();
}

void Table::setRows(const QList<QStringList> &rows) {
    cells = rows;
    if (selected >= cells.size())
        selected = kNoRow;
    tellView();
}

void Table::selectRow(int row) {
    change(selected, row < cells.size() ? row : kNoRow);
}

void Table::userSelect(int row) {
    if (row == selected)
        return;
    const bool isTaken = isEnabled() && (!shouldSelectRow || shouldSelectRow(row));
    if (isTaken)
        selected = row < cells.size() ? row : kNoRow;
    tellView();
    if (isTaken)
        act();
}

void Table::userDoubleClick(int row) {
    if (isEnabled() && doubleClicked && row >= 0 && row < cells.size())
        doubleClicked(row);
}

void Window::raise() const {
    if (onRaise)
        onRaise();
}

int Window::runModal() {
    modal = true;
    modalCode = 0;
    show();
    tellView();
    RunLoop::current()->runUntil([this] { return !modal; });
    return modalCode;
}

void Window::endModal(int code) {
    if (!modal)
        return;
    modal = false;
    modalCode = code;
    hide();
    // A posted turn, since runUntil looks at its condition after an event only.
    RunLoop::current()->post([] {});
}

void Window::userClose() {
    if (!action)
        hide();
    act();
}
