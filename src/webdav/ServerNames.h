#pragma once

#include <mutex>

#include <QDeadlineTimer>
#include <QHash>
#include <QString>
#include <QStringList>

// A server may keep a name composed or decomposed, while the kernel hands out and receives composed
// ones. This table remembers, for the names where it matters, how the server spells them, so that a
// request goes to the item that the listing showed. Safe from any thread.
class ServerNames {
  public:
    // Takes over the spellings (decoded, not normalised) that a listing of the folder gave. Only
    // those that a composed name would miss are kept.
    void learnListing(const QString &folder, const QStringList &serverNames);
    // The same for a single child.
    void learn(const QString &folder, const QString &serverName);
    // Forgets the item and everything below it.
    void forget(const QString &path);
    // The path with every component as the server spells it; a component never learned stays as
    // given.
    QString spelled(const QString &path) const;
    // Whether a different spelling of some component could exist and none is known.
    bool mayBeSpelledOtherwise(const QString &path) const;
    // The folders, from the top, whose listing could tell such a spelling. One that was listed in
    // the last few seconds has told already.
    QStringList unlearnedFolders(const QString &path) const;

  private:
    void learnLocked(const QString &folder, const QString &serverName);

    mutable std::mutex mutex;
    QHash<QString, QString> spellings;  // decomposed path -> the server's last component
    // The folder listed last, so that making many new items in it doesn't list it for each.
    QString lastListed;
    QDeadlineTimer lastListedIsFresh;
};
