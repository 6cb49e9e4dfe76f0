#pragma once

#include "connection/ClientIdentitySource.h"
#include "platform/system/IdentityStore.h"

// Lets the person choose among the identities of the store in the window "VDSSLChooser", and asks
// for the passphrase of the chosen one. Nothing of it is kept here. Main thread.
class VDSSLCertificate : public ClientIdentitySource {
  public:
    VDSSLCertificate();
    // store: not owned.
    explicit VDSSLCertificate(const IdentityStore &store) : store(store) {}

    QList<ClientIdentity> getClientIdentity() override;
    // Tells that there is none to choose from.
    static void notFindDialog();

  private:
    QList<ClientIdentity> opened(const StoredIdentity &identity) const;

    const IdentityStore &store;
};
