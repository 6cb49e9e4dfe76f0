#pragma once

#include <functional>
#include <list>

#include <QObject>
#include <QString>

#include "platform/ui/Controls.h"

class QAbstractButton;
class QComboBox;
class QDialog;
class QLabel;
class QLineEdit;
class QTabWidget;
class QTreeWidget;
class QWidget;

// Ties the controls of a window to the widgets of the same names, both ways, for as long as it
// lives. Neither the form nor the controls are owned. Main thread.
//
// A widget named "<control>_hidden" stands in for the control's while that one is hidden; one named
// "<control>_shown" comes and goes with it.
class Binder {
  public:
    explicit Binder(QWidget &form) : form(form) {}
    ~Binder();
    Binder(const Binder &) = delete;
    Binder &operator=(const Binder &) = delete;

    // TextField: QLineEdit or QLabel. CheckBox, Button: QAbstractButton. Choice: QComboBox. Table:
    // QTreeWidget. TabGroup: QTabWidget. It is a fault of the program if the form has none.
    template <typename AnyControl>
    void bind(const QString &name, AnyControl &control) {
        tie(name, control, [this, name, &control] { showIn(name, control); });
        listen(name, control);
    }
    // The form itself, which has to be a dialog.
    void bindWindow(Window &window);

  private:
    // Where a question is being answered, further selections are not taken.
    struct Selecting {
        bool isUnderWay = false;
    };

    template <typename Widget>
    Widget &widget(const QString &name) const;
    void tie(const QString &name, Control &control, std::function<void()> show);
    void showState(const QString &name, const Control &control) const;

    void showIn(const QString &name, const TextField &field) const;
    void showIn(const QString &name, const CheckBox &box) const;
    void showIn(const QString &name, const Button &button) const;
    void showIn(const QString &name, const Choice &choice) const;
    void showIn(const QString &name, const Table &table) const;
    void showIn(const QString &name, const TabGroup &tabs) const;

    void listen(const QString &name, TextField &field);
    void listen(const QString &name, CheckBox &box);
    void listen(const QString &name, Button &button);
    void listen(const QString &name, Choice &choice);
    void listen(const QString &name, Table &table);
    void listen(const QString &name, TabGroup &tabs);

    QWidget &form;
    QObject context;  // its end cuts what listens
    std::list<std::function<void()>> untie;
};
