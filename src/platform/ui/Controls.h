#pragma once

#include <functional>
#include <utility>

#include <QList>
#include <QString>
#include <QStringList>

// Controls as the program's logic sees them; main thread. A view binds to a control by its name: it
// shows the control's values, at first and again at every onChanged, and hands over what the user
// did through the user...() operations. Those change the value without an onChanged, since the view
// shows it already, and run the logic's action. The logic uses the setters, which run no action.
class Control {
  public:
    std::function<void()> onChanged;  // the view's
    std::function<void()> action;     // the logic's

    bool isEnabled() const { return enabled; }
    bool isHidden() const { return hidden; }
    void setEnabled(bool value) { change(enabled, value); }
    void setHidden(bool value) { change(hidden, value); }

  protected:
    template <typename Value>
    void change(Value &field, const Value &value) {
        if (std::exchange(field, value) != value)
            tellView();
    }
    void tellView() const;
    void act() const;

  private:
    bool enabled = true;
    bool hidden = false;
};

// A line of text; a label is one that nobody edits. Its action follows the end of editing.
class TextField : public Control {
  public:
    const QString &text() const { return value; }
    void setText(const QString &text);

    void userEdit(const QString &text) { value = text; }
    void userEndEditing() { act(); }

  private:
    QString value;  // null until somebody sets it
};

class CheckBox : public Control {
  public:
    bool state() const { return on; }
    void setState(bool state) { change(on, state); }

    void userSet(bool state);

  private:
    bool on = false;
};

class Button : public Control {
  public:
    const QString &title() const { return text; }
    void setTitle(const QString &title) { change(text, title); }

    void userPress();

  private:
    QString text;  // null: the view's own
};

// One of several: a pop-up, or radio buttons.
class Choice : public Control {
  public:
    const QStringList &items() const { return titles; }
    void setItems(const QStringList &items) { change(titles, items); }
    int index() const { return chosen; }
    void setIndex(int index) { change(chosen, index); }

    void userSelect(int index);

  private:
    QStringList titles;  // empty: the view's own
    int chosen = 0;
};

// Rows of texts, at most one of them selected.
class Table : public Control {
  public:
    static constexpr int kNoRow = -1;

    explicit Table(const QStringList &columnIds) : columnIds(columnIds) {}
    const QStringList columnIds;
    // Asked before the user's selection moves; null: always.
    std::function<bool(int row)> shouldSelectRow;
    std::function<void(int row)> doubleClicked;

    const QList<QStringList> &rows() const { return cells; }
    // Keeps the selected row where there still is one.
    void setRows(const QList<QStringList> &rows);
    int selectedRow() const { return selected; }
    void selectRow(int row);
    void deselect() { selectRow(kNoRow); }

    // The view shows the selected row again where this is refused.
    void userSelect(int row);
    void userDoubleClick(int row);

  private:
    QList<QStringList> cells;
    int selected = kNoRow;
};

class TabGroup : public Control {
  public:
    int selected() const { return tab; }
    void selectTab(int index) { change(tab, index); }

    void userSelect(int index) { tab = index; }

  private:
    int tab = 0;
};

// A window by the name of its form. Its action follows the user's closing it by its frame.
class Window : public Control {
  public:
    explicit Window(const QString &name) : name(name) { setHidden(true); }
    const QString name;
    // The view's: bring the window to the front; whether Alt, the Option key, is held down.
    std::function<void()> onRaise;
    std::function<bool()> isOptionHeld;

    bool isVisible() const { return !isHidden(); }
    void show() { setHidden(false); }
    void hide() { setHidden(true); }
    void raise() const;
    bool optionHeld() const { return isOptionHeld && isOptionHeld(); }

    // Shows the window, which then alone takes input, and serves events until endModal(); its code.
    int runModal();
    void endModal(int code);
    bool isModal() const { return modal; }

    void userClose();

  private:
    bool modal = false;
    int modalCode = 0;
};
