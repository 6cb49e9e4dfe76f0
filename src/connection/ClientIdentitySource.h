#pragma once

#include <QList>

#include "http/ASHttpConnectInfo.h"

// Whoever lets the user choose a client identity.
class ClientIdentitySource {
  public:
    virtual ~ClientIdentitySource() = default;
    // The one chosen identity; empty when nothing was chosen. May ask the user. Main thread.
    virtual QList<ClientIdentity> getClientIdentity() = 0;
};
