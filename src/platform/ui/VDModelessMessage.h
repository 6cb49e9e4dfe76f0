#pragma once

#include <QString>

// Messages that nobody waits for: shown one after the other, and written to the log, since a
// program without a window may have nobody looking. Any thread.
class VDModelessMessage {
  public:
    // Returns at once. With six messages unanswered another one is dropped. A null title stands for
    // that of an error.
    static void ShowMessageModeless(const QString &text, const QString &title = QString());
    // The message is answered.
    static void finishMessage(const QString &uid);
};
