#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

// Messages that nobody waits for: shown one after the other, written to the log, and remembered for
// a while, since a program without a window may have nobody looking. Any thread.
class VDModelessMessage {
  public:
    struct Message {
        QDateTime time;  // UTC
        QString title;
        QString text;
    };

    // Returns at once. With six messages unanswered another one is dropped. A null title stands for
    // that of an error.
    static void ShowMessageModeless(const QString &text, const QString &title = QString());
    // The message is answered.
    static void finishMessage(const QString &uid);

    // The last twenty, oldest first, answered or not.
    static QList<Message> recentMessages();
};
