#pragma once

#include <mutex>

#include <QHash>
#include <QString>

// A server may keep a name composed or decomposed, while the kernel hands out and receives composed
// ones. This table remembers, for the names where it matters, how the server spells them, so that a
// request goes to the item that the listing showed. Safe from any thread.
class ServerNames {
  public:
    // Remembers a child's spelling as a listing of its folder gave it (decoded, not normalised).
    void learn(const QString &folder, const QString &serverName);
    // Forgets the item and everything below it.
    void forget(const QString &path);
    // The path with every component as the server spells it; a component never learned stays as
    // given.
    QString spelled(const QString &path) const;
    // Whether a different spelling of some component could exist and none is known.
    bool mayBeSpelledOtherwise(const QString &path) const;

  private:
    mutable std::mutex mutex;
    QHash<QString, QString> spellings;  // decomposed path -> the server's last component
};
