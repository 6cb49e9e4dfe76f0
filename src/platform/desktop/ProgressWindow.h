#pragma once

#include <memory>

#include <QString>

#include "platform/ui/ProgressPanel.h"

class QWidget;

// A small window above the others that shows one transfer and never takes the keyboard. Closing it
// by its frame only hides it.
class ProgressWindow : public ProgressPanel {
  public:
    explicit ProgressWindow(const QString &windowName);
    ~ProgressWindow() override;

    void setFileName(const QString &name) override;
    void setValue(double percent) override;
    void setCountText(const QString &text) override;
    void show() override;
    void close() override;

  private:
    const std::unique_ptr<QWidget> window;
    bool isOpen = false;  // even where the user has hidden it
};
