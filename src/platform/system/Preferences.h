#pragma once

#include <optional>

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QVariant>

#include "common/Error.h"

// The user's key-value settings: one JSON file that only the user can read. Values are texts, lists
// of texts, numbers, flags and bytes, and keep their type. Main thread.
//
// Changes are held in memory until synchronize(), which is also when changes of other processes are
// taken in. The file is replaced in one step, so a crash leaves the old one or the new one.
class Preferences {
  public:
    static inline const QString kErrorDomain = QStringLiteral("Preferences");
    static constexpr int kDamagedFileSetAside = 1;

    // The user's own: $XDG_CONFIG_HOME/velmoradisk/preferences.json, by default below ~/.config.
    static Preferences &standard();
    explicit Preferences(const QString &path);

    // Invalid for a key without a value.
    QVariant value(const QString &key);
    // A null text, null bytes or an invalid value removes the key; "" is kept.
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);

    // Writes the changed keys, and only those, over what the file holds by now. False with a POSIX
    // error whose "OUTPUT" is a message for the user when the file can't be read or written; the
    // changes are then kept for the next call. True with an error of kErrorDomain, once, when the
    // file was damaged and has been set aside under another name.
    bool synchronize(ErrorOut error);
    // Forgets the changes that could not be written.
    void discard() { changed.clear(); }

  private:
    struct Contents {
        bool damaged = false;
        QJsonObject object = {};
        std::optional<Error> error = {};
    };

    std::optional<Error> reload();
    std::optional<Error> applyChanges();
    Contents read() const;
    // These two with the file lock held.
    Contents readUndamaged();
    std::optional<Error> write(const QJsonObject &object) const;

    const QString path;
    bool loaded = false;
    QJsonObject stored;                  // as last read or written
    QHash<QString, QJsonValue> changed;  // undefined: to be removed
    std::optional<Error> notice;         // of a damaged file, until it has been told
};
