#pragma once

#include <QString>

// A message in the corner of the user's desktop. Without a desktop session nothing happens.
namespace DesktopNotification {

// Whether it arrives isn't waited for.
void send(const QString &title, const QString &text);

}  // namespace DesktopNotification
