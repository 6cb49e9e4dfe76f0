#pragma once

#include <QString>

// Messages that nobody waits for: shown one after the other, and written to the log, since a
// program without a window may have nobody looking. Any thread.
class VDModelessMessage {
  public:
    // Returns at once. With six messages unanswered another one is not shown; the log gets it. A
    // null title stands for that of an error. volume: the name of the one it is about.
    static void ShowMessageModeless(const QString &text, const QString &title = QString(),
                                    const QString &volume = QString());
    // The message is answered.
    static void finishMessage(const QString &uid);
};
