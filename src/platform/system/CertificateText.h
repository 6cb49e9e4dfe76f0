#pragma once

#include <memory>
#include <openssl/x509.h>

#include "common/Deleter.h"
#include "platform/system/IdentityStore.h"

// What is read from a certificate.
namespace CertificateText {

using Certificate = std::unique_ptr<X509, Deleter<X509_free>>;

// The certificate's own name for itself, else its subject's common name, else the fallback.
QString label(X509 *certificate, const QString &fallback);
QList<StoredIdentity::NamePart> issuer(X509 *certificate);
bool isValidToday(const X509 *certificate);

}  // namespace CertificateText
