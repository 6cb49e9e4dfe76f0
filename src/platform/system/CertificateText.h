#pragma once

#include <memory>
#include <openssl/x509.h>

#include "platform/system/IdentityStore.h"

// What is read from a certificate.
namespace CertificateText {

struct Free {
    void operator()(X509 *certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, Free>;

// The certificate's own name for itself, else its subject's common name, else the fallback.
QString label(X509 *certificate, const QString &fallback);
QList<StoredIdentity::NamePart> issuer(X509 *certificate);
bool isValidToday(const X509 *certificate);

}  // namespace CertificateText
