#pragma once

#include <memory>

#include <QString>

#include "platform/ui/ProgressPanel.h"

// Owns the panel of one upload. Main thread; nothing happens where the user interface has none.
class VDProgressBarWindowController {
  public:
    // The plain window, or the numbered one.
    VDProgressBarWindowController();
    explicit VDProgressBarWindowController(qint8 progressType);
    ~VDProgressBarWindowController();

    void setFileName(const QString &name);
    void setProgress(double percent, const QString &count);
    // Above other windows.
    void show();

  private:
    explicit VDProgressBarWindowController(const QString &windowName);

    const std::unique_ptr<ProgressPanel> progressBarWindow;
};
