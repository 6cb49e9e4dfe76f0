#include "platform/system/IdentityStore.h"

#include <QStandardPaths>

#include "platform/system/IdentityFiles.h"
#include "platform/system/IdentityTokens.h"

std::optional<QList<StoredIdentity>> IdentityStore::copyMatching() const {
    return IdentityFiles::find(folder()) + IdentityTokens::find();
}

IdentityStore::Opening IdentityStore::open(const StoredIdentity &identity,
                                           const QString &passphrase) const {
    return identity.type == QLatin1String("ENG") ? IdentityTokens::open(identity, passphrase)
                                                 : IdentityFiles::open(identity, passphrase);
}

QString IdentityStore::folder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/velmoradisk/identities");
}
