#include "platform/desktop/MenuMirror.h"

#include <QAction>
#include <QMenu>
#include <QPointer>

#include "platform/ui/MenuModel.h"

namespace {

// A name may have an "&", which doesn't mark a key.
QString plainTitle(const QString &title) {
    return QString(title).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

void addItem(QMenu &menu, const MenuItem &item) {
    if (item.title.isEmpty()) {
        menu.addSeparator();
        return;
    }
    if (item.submenu) {
        QMenu *const submenu = menu.addMenu(plainTitle(item.title));
        submenu->setEnabled(item.isEnabled);
        mirrorMenu(*submenu, item.submenu);
        return;
    }
    QAction *const action = menu.addAction(plainTitle(item.title));
    action->setEnabled(item.isEnabled);
    action->setCheckable(item.isChecked);
    action->setChecked(item.isChecked);
    // Queued: what it does may ask the user, and may change this very menu.
    QObject::connect(
        action, &QAction::triggered, &menu,
        [run = item.action] {
            if (run)
                run();
        },
        Qt::QueuedConnection);
}

void fill(QMenu &menu, const MenuModel &model) {
    const QList<QMenu *> submenus = menu.findChildren<QMenu *>(Qt::FindDirectChildrenOnly);
    menu.clear();
    for (QMenu *submenu : submenus)
        submenu->deleteLater();
    for (const MenuItem &item : model.items())
        addItem(menu, item);
}

}  // namespace

void mirrorMenu(QMenu &menu, const std::shared_ptr<MenuModel> &model) {
    model->onChanged = [shown = QPointer(&menu), weak = std::weak_ptr(model)] {
        const auto current = weak.lock();
        if (shown && current)
            fill(*shown, *current);
    };
    QObject::connect(&menu, &QMenu::aboutToShow, &menu, [model] {
        if (model->menuWillOpen)
            model->menuWillOpen();
    });
    fill(menu, *model);
}
