#pragma once

#include <memory>

#include <QObject>

class QWidget;

// Whether Alt was held at what the user did last in a window. The Alt of a mnemonic doesn't count:
// it only chooses the button.
class HeldKeys : public QObject {
  public:
    explicit HeldKeys(QWidget &window);

    bool isAltHeld() const { return isHeld; }
    // Counts as held while the result lives.
    std::shared_ptr<void> holdAlt();

    bool eventFilter(QObject *watched, QEvent *event) override;

  private:
    QWidget &window;
    bool isHeld = false;
};
