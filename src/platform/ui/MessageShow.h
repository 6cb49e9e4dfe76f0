#pragma once

#include <QString>

#include "platform/ui/UserInterface.h"

// One message waiting to be shown.
struct MessageShow {
    Alert alert;
    QString uid;

    // Shows the alert on the main thread once those before it are answered. Returns at once.
    void runAlert() const;
};
