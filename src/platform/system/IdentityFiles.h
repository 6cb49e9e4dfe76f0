#pragma once

#include "platform/system/IdentityStore.h"

// Identities in files; see IdentityStore.
namespace IdentityFiles {

QList<StoredIdentity> find(const QString &folder);
IdentityStore::Opening open(const StoredIdentity &identity, const QString &passphrase);

}  // namespace IdentityFiles
