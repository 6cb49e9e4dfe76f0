#pragma once

#include "platform/system/IdentityStore.h"

// Identities on PKCS#11 tokens, those that p11-kit knows; see IdentityStore.
namespace IdentityTokens {

QList<StoredIdentity> find();
// Tries the PIN once. Failed when the token is locked or gone.
IdentityStore::Opening open(const StoredIdentity &identity, const QString &pin);

}  // namespace IdentityTokens
