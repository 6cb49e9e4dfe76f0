#include "platform/desktop/Binder.h"

#include <memory>

#include <QAbstractButton>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTreeWidget>

namespace {

// Pasted text without the line breaks at its ends, which nobody sees or means.
QString withoutOuterBreaks(const QString &text) {
    static const QRegularExpression breaks(QStringLiteral("^[\\r\\n]+|[\\r\\n]+$"));
    return QString(text).remove(breaks);
}

int selectedRowOf(const QTreeWidget &tree) {
    const QList<QTreeWidgetItem *> selected = tree.selectedItems();
    return selected.isEmpty() ? Table::kNoRow : tree.indexOfTopLevelItem(selected.first());
}

}  // namespace

Binder::~Binder() {
    for (const auto &each : untie)
        each();
}

template <typename Widget>
Widget &Binder::widget(const QString &name) const {
    Widget *const found = form.findChild<Widget *>(name);
    if (!found)
        qFatal("%s has no widget \"%s\"", qPrintable(form.objectName()), qPrintable(name));
    return *found;
}

void Binder::tie(const QString &name, Control &control, std::function<void()> show) {
    control.onChanged = [this, name, &control, show = std::move(show)] {
        showState(name, control);
        show();
    };
    untie.push_back([&control] { control.onChanged = nullptr; });
    control.onChanged();
}

void Binder::showState(const QString &name, const Control &control) const {
    auto &shown = widget<QWidget>(name);
    shown.setEnabled(control.isEnabled());
    shown.setHidden(control.isHidden());
    if (auto *const standIn = form.findChild<QWidget *>(name + QStringLiteral("_hidden")))
        standIn->setVisible(control.isHidden());
    if (auto *const companion = form.findChild<QWidget *>(name + QStringLiteral("_shown")))
        companion->setVisible(!control.isHidden());
}

void Binder::showIn(const QString &name, const TextField &field) const {
    if (auto *const label = form.findChild<QLabel *>(name))
        return label->setText(field.text());
    auto &edit = widget<QLineEdit>(name);
    // Setting the same text would move the cursor.
    if (edit.text() != field.text())
        edit.setText(field.text());
}

void Binder::showIn(const QString &name, const CheckBox &box) const {
    widget<QAbstractButton>(name).setChecked(box.state());
}

void Binder::showIn(const QString &name, const Button &button) const {
    if (!button.title().isNull())
        widget<QAbstractButton>(name).setText(button.title());
}

void Binder::showIn(const QString &name, const Choice &choice) const {
    auto &box = widget<QComboBox>(name);
    if (!choice.items().isEmpty()) {
        box.clear();
        box.addItems(choice.items());
    }
    box.setCurrentIndex(choice.index() < box.count() ? choice.index() : -1);
}

void Binder::showIn(const QString &name, const Table &table) const {
    auto &tree = widget<QTreeWidget>(name);
    const QSignalBlocker silent(tree);
    while (tree.topLevelItemCount() > table.rows().size())
        delete tree.takeTopLevelItem(tree.topLevelItemCount() - 1);
    for (int row = 0; row < table.rows().size(); ++row) {
        if (row == tree.topLevelItemCount())
            tree.addTopLevelItem(new QTreeWidgetItem);
        const QStringList &cells = table.rows()[row];
        for (int column = 0; column < cells.size(); ++column)
            tree.topLevelItem(row)->setText(column, cells[column]);
    }
    tree.setCurrentItem(tree.topLevelItem(table.selectedRow()));
    if (table.selectedRow() == Table::kNoRow)
        tree.clearSelection();
}

void Binder::showIn(const QString &name, const TabGroup &tabs) const {
    widget<QTabWidget>(name).setCurrentIndex(tabs.selected());
}

void Binder::listen(const QString &name, TextField &field) {
    auto *const edit = form.findChild<QLineEdit *>(name);
    if (!edit)
        return;
    QObject::connect(edit, &QLineEdit::textEdited, &context, [edit, &field](const QString &text) {
        const QString line = withoutOuterBreaks(text);
        if (line != text)
            edit->setText(line);
        field.userEdit(line);
    });
    QObject::connect(edit, &QLineEdit::editingFinished, &context,
                     [&field] { field.userEndEditing(); });
}

void Binder::listen(const QString &name, CheckBox &box) {
    QObject::connect(&widget<QAbstractButton>(name), &QAbstractButton::clicked, &context,
                     [&box](bool isChecked) { box.userSet(isChecked); });
}

void Binder::listen(const QString &name, Button &button) {
    auto &pressed = widget<QAbstractButton>(name);
    QObject::connect(&pressed, &QAbstractButton::clicked, &context, [&pressed, &button] {
        // Ends the editing of a field where the press came by the keyboard.
        pressed.setFocus(Qt::OtherFocusReason);
        button.userPress();
    });
}

void Binder::listen(const QString &name, Choice &choice) {
    QObject::connect(&widget<QComboBox>(name), &QComboBox::activated, &context,
                     [&choice](int index) { choice.userSelect(index); });
}

void Binder::listen(const QString &name, Table &table) {
    auto &tree = widget<QTreeWidget>(name);
    const auto selecting = std::make_shared<Selecting>();
    // In a turn of its own: the answer may ask the user, and the tree is in the midst of a click.
    const auto select = [this, name, &tree, &table, selecting] {
        if (!selecting->isUnderWay) {
            selecting->isUnderWay = true;
            table.userSelect(selectedRowOf(tree));
            selecting->isUnderWay = false;
        }
        showIn(name, table);
    };
    QObject::connect(&tree, &QTreeWidget::itemSelectionChanged, &context, select,
                     Qt::QueuedConnection);
    QObject::connect(&tree, &QTreeWidget::itemActivated, &context,
                     [&tree, &table](QTreeWidgetItem *item) {
                         table.userDoubleClick(tree.indexOfTopLevelItem(item));
                     });
}

void Binder::listen(const QString &name, TabGroup &tabs) {
    QObject::connect(&widget<QTabWidget>(name), &QTabWidget::currentChanged, &context,
                     [&tabs](int index) { tabs.userSelect(index); });
}

void Binder::bindWindow(Window &window) {
    auto &dialog = dynamic_cast<QDialog &>(form);
    window.onChanged = [&window, &dialog] {
        if (window.isHidden() == dialog.isHidden() && window.isModal() == dialog.isModal())
            return;
        // A window takes the change from or to a modal one only while it is hidden.
        dialog.hide();
        dialog.setWindowModality(window.isModal() ? Qt::ApplicationModal : Qt::NonModal);
        dialog.setVisible(window.isVisible());
    };
    window.onRaise = [&dialog] {
        dialog.setWindowState(dialog.windowState() & ~Qt::WindowMinimized);
        dialog.raise();
        dialog.activateWindow();
    };
    untie.push_back([&window] {
        window.onChanged = nullptr;
        window.onRaise = nullptr;
    });
    QObject::connect(&dialog, &QDialog::rejected, &context, [&window] {
        window.userClose();
        if (window.onChanged)
            window.onChanged();
    });
    window.onChanged();
}
