#pragma once

#include "platform/ui/ProgressPanel.h"

class Console;

// The console's line of progress. It takes less room than a window, and doesn't wait to be shown
// where there is progress to tell.
class ConsoleProgressPanel : public ProgressPanel {
  public:
    explicit ConsoleProgressPanel(Console &console) : console(console) {}
    ~ConsoleProgressPanel() override { close(); }

    void setFileName(const QString &name) override { fileName = name; }
    void setValue(double percent) override { visible = visible || percent > 0; }
    void setCountText(const QString &text) override;
    void show() override;
    void close() override;

  private:
    void draw();

    Console &console;
    QString fileName;
    QString countText;
    bool visible = false;
};
