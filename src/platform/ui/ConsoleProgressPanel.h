#pragma once

#include "platform/ui/ProgressPanel.h"

class Console;

// A line each time the count changes, once shown.
class ConsoleProgressPanel : public ProgressPanel {
  public:
    explicit ConsoleProgressPanel(Console &console) : console(console) {}

    void setFileName(const QString &name) override { fileName = name; }
    void setValue(double) override {}
    void setCountText(const QString &text) override;
    void show() override;
    void close() override { visible = false; }

  private:
    void print();

    Console &console;
    QString fileName;
    QString countText;
    bool visible = false;
};
