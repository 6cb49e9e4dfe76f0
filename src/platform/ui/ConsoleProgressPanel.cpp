#include "platform/ui/ConsoleProgressPanel.h"

#include <utility>

#include "platform/ui/Console.h"

void ConsoleProgressPanel::setCountText(const QString &text) {
    countText = text;
    draw();
}

void ConsoleProgressPanel::show() {
    if (!std::exchange(visible, true))
        draw();
}

void ConsoleProgressPanel::close() {
    if (std::exchange(visible, false))
        console.showProgress({});
}

void ConsoleProgressPanel::draw() {
    if (visible)
        console.showProgress(fileName + QLatin1Char(' ') + countText);
}
