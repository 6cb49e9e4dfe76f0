#pragma once

#include <functional>
#include <memory>

#include <QStringList>

#include "platform/ui/MenuModel.h"

// The icon in the desktop's panel and its menu. Main thread.
struct StatusItem {
    std::shared_ptr<MenuModel> menuIcon = std::make_shared<MenuModel>();
    bool isMounted = false;
    bool isUploading = false;
    QStringList mountedNames;
    std::function<void()> onChanged;  // the view's; the menu has one of its own
};
