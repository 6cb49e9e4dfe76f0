#pragma once

#include <memory>

class MenuModel;
class QMenu;

// Shows the model in the menu, submenus too, for as long as the menu lives. An action runs once the
// menu is gone from the screen. Main thread.
void mirrorMenu(QMenu &menu, const std::shared_ptr<MenuModel> &model);
