#include "webdav/ServerNames.h"

#include <chrono>

namespace {

constexpr std::chrono::seconds kListingStaysFresh{3};

QString composed(const QString &text) {
    return text.normalized(QString::NormalizationForm_C);
}

QString decomposed(const QString &text) {
    return text.normalized(QString::NormalizationForm_D);
}

QString childPath(const QString &folder, const QString &name) {
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

bool hasSeveralForms(const QString &name) {
    return composed(name) != decomposed(name);
}

// Calls visit with each component of the path, its folder and its key, until that returns false.
template <typename Visit>
void walk(const QString &path, const Visit &visit) {
    QString folder = QStringLiteral("/");
    for (const QString &name : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        const QString item = childPath(folder, name);
        if (!visit(folder, name, decomposed(item)))
            return;
        folder = item;
    }
}

}  // namespace

void ServerNames::learnListing(const QString &folder, const QStringList &serverNames) {
    const std::lock_guard guard(mutex);
    for (const QString &name : serverNames)
        learnLocked(folder, name);
    lastListed = folder;
    lastListedIsFresh.setRemainingTime(kListingStaysFresh);
}

void ServerNames::learn(const QString &folder, const QString &serverName) {
    const std::lock_guard guard(mutex);
    learnLocked(folder, serverName);
}

void ServerNames::learnLocked(const QString &folder, const QString &serverName) {
    const bool isComposed = serverName == composed(serverName);
    if (isComposed && spellings.isEmpty())
        return;
    const QString key = decomposed(childPath(folder, serverName));
    if (isComposed)
        spellings.remove(key);
    else
        spellings[key] = serverName;
}

void ServerNames::forget(const QString &path) {
    const QString item = decomposed(path);
    const QString below = childPath(item, QString());
    const std::lock_guard guard(mutex);
    spellings.removeIf(
        [&](const auto &entry) { return entry.key() == item || entry.key().startsWith(below); });
}

QString ServerNames::spelled(const QString &path) const {
    const std::lock_guard guard(mutex);
    if (spellings.isEmpty())
        return path;
    QString result;
    walk(path, [&](const QString &, const QString &name, const QString &key) {
        result += QLatin1Char('/') + spellings.value(key, name);
        return true;
    });
    return result.isEmpty() ? path : result;
}

bool ServerNames::mayBeSpelledOtherwise(const QString &path) const {
    const std::lock_guard guard(mutex);
    bool found = false;
    walk(path, [&](const QString &, const QString &name, const QString &key) {
        found = hasSeveralForms(name) && !spellings.contains(key);
        return !found;
    });
    return found;
}

QStringList ServerNames::unlearnedFolders(const QString &path) const {
    const std::lock_guard guard(mutex);
    QStringList folders;
    walk(path, [&](const QString &folder, const QString &name, const QString &key) {
        const bool toldAlready = folder == lastListed && !lastListedIsFresh.hasExpired();
        if (hasSeveralForms(name) && !spellings.contains(key) && !toldAlready)
            folders += folder;
        return true;
    });
    return folders;
}
