#pragma once

#include <functional>
#include <memory>

#include <QList>
#include <QString>

class MenuModel;

struct MenuItem {
    QString title;  // empty: a separating line
    bool isEnabled = true;
    bool isChecked = false;
    std::function<void()> action = {};
    std::shared_ptr<MenuModel> submenu = {};
};

// A menu as data. A view calls menuWillOpen just before it shows the menu, and shows the items
// again at every onChanged. Main thread.
class MenuModel {
  public:
    std::function<void()> menuWillOpen;  // the logic's
    std::function<void()> onChanged;     // the view's

    const QList<MenuItem> &items() const { return entries; }
    void setItems(QList<MenuItem> items) {
        entries = std::move(items);
        if (onChanged)
            onChanged();
    }

  private:
    QList<MenuItem> entries;
};
