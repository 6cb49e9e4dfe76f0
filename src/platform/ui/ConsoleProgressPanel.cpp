#include "platform/ui/ConsoleProgressPanel.h"

#include "platform/ui/Console.h"

void ConsoleProgressPanel::setCountText(const QString &text) {
    if (text == countText)
        return;
    countText = text;
    if (visible)
        print();
}

void ConsoleProgressPanel::show() {
    visible = true;
    print();
}

void ConsoleProgressPanel::print() {
    console.complain(fileName + QLatin1Char(' ') + countText);
}
