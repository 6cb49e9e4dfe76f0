#pragma once

#include <QString>
#include <QStringList>

// Starts this program's own background instance, and tells its starter how that went.
namespace ServiceLauncher {

// What a started instance told before it went on alone.
enum class Answer {
    Ready,          // it listens
    HeldByAnother,  // another instance is there, or still ending
    Failed,         // see the reason
};
struct Launch {
    Answer answer;
    QString reason;
};

// Runs this program with the arguments in a session of its own, without a terminal, and waits for
// its answer.
Launch start(const QStringList &arguments);

// In the started instance: gives the answer, once, and closes the way to the starter.
void tellStarter(Answer answer, const QString &reason = {});

// In the started instance, first of all: leaves the starter's folder, and makes files for this user
// alone.
void detach();

}  // namespace ServiceLauncher
