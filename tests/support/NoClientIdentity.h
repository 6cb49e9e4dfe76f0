#pragma once

#include "connection/ClientIdentitySource.h"

// For a test that no server asks for an identity.
class NoClientIdentity : public ClientIdentitySource {
  public:
    QList<ClientIdentity> getClientIdentity() override { return {}; }
};
