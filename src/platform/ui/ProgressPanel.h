#pragma once

#include <QString>

// What shows how far a transfer is: a small floating window, or a line. Main thread.
class ProgressPanel {
  public:
    virtual ~ProgressPanel() = default;

    virtual void setFileName(const QString &name) = 0;
    // 0 to 100.
    virtual void setValue(double percent) = 0;
    virtual void setCountText(const QString &text) = 0;
    virtual void show() = 0;
    virtual void close() = 0;
};
