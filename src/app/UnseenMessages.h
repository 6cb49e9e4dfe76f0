#pragma once

#include <functional>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

// Messages that came while nobody was there to see them. They lie in a file that only the user can
// read, since they outlive the process that they came from; beyond a hundred the oldest go, which
// the log still has. Any thread, any process of the user.
//
// Each is an object with "when" (ISO 8601, UTC), "volume" (its name, "" for none) and "text".
namespace UnseenMessages {

void add(const QString &text, const QString &volume);
QJsonArray all();
// Shows each of them; those for which that is true count as seen from now on.
void show(const std::function<bool(const QJsonObject &message)> &see);

}  // namespace UnseenMessages
