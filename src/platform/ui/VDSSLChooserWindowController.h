#pragma once

#include "platform/ui/Controls.h"

struct VDSSLTableData;

// The window "VDSSLChooser". Main thread.
struct VDSSLChooserWindowController {
    static constexpr int kOK = 1;
    static constexpr int kCancel = 0;

    Window window{QStringLiteral("VDSSLChooser")};
    Table tableSelectCert{{QStringLiteral("labl"), QStringLiteral("issr")}};
    Button btnOK, btnCancel;

    explicit VDSSLChooserWindowController(const VDSSLTableData &data);
    VDSSLChooserWindowController(const VDSSLChooserWindowController &) = delete;
    VDSSLChooserWindowController &operator=(const VDSSLChooserWindowController &) = delete;

    // These end the window's modal run.
    void putOK() { window.endModal(kOK); }
    void putCancel() { window.endModal(kCancel); }
};
