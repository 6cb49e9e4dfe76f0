#pragma once

#include <QString>

// The window "VDLoginWindow" as its buttons see it.
struct VDLoginWindowController {
    static constexpr int kOK = 1;
    static constexpr int kCancel = 0;

    QString title;
    QString server;
    QString txtUsername;
    QString txtPassword;
    bool visible = false;
    int modalCode = kCancel;

    void putOK();
    void putCancel();
};
