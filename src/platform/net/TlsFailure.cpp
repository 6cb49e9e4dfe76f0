#include "platform/net/TlsFailure.h"

#include <cstdlib>
#include <cstring>
#include <openssl/err.h>
#include <openssl/ssl.h>

namespace {

// The alert in "error:0A00045C:SSL routines::tlsv13 alert certificate required"; -1 without one.
int alertIn(const char *message) {
    static constexpr char mark[] = "error:";
    const char *found = std::strstr(message, mark);
    if (!found)
        return -1;
    const unsigned long error = std::strtoul(found + sizeof mark - 1, nullptr, 16);
    const int reason = ERR_GET_REASON(error) - SSL_AD_REASON_OFFSET;
    return ERR_GET_LIB(error) == ERR_LIB_SSL && reason >= 0 ? reason : -1;
}

HttpReadStream::Failure failureOfAlert(int alert, bool showedCertificate) {
    using Failure = HttpReadStream::Failure;
    switch (alert) {
        case TLS13_AD_CERTIFICATE_REQUIRED:
            return Failure::clientCertificateMissing;
        case SSL3_AD_HANDSHAKE_FAILURE:
            // All that TLS 1.2 says of a missing certificate, and of other things too.
            return showedCertificate ? Failure::other : Failure::clientCertificateMissing;
        case SSL3_AD_BAD_CERTIFICATE:
        case SSL3_AD_UNSUPPORTED_CERTIFICATE:
        case SSL3_AD_CERTIFICATE_REVOKED:
        case SSL3_AD_CERTIFICATE_EXPIRED:
        case SSL3_AD_CERTIFICATE_UNKNOWN:
        case TLS1_AD_UNKNOWN_CA:
        case TLS1_AD_ACCESS_DENIED:
            return showedCertificate ? Failure::clientCertificateRejected
                                     : Failure::clientCertificateMissing;
        default:
            return Failure::other;
    }
}

}  // namespace

HttpReadStream::Failure tlsFailure(CURLcode code, const char *message, bool showedCertificate) {
    using Failure = HttpReadStream::Failure;
    switch (code) {
        case CURLE_PEER_FAILED_VERIFICATION:
            return Failure::untrustedServer;
        case CURLE_SSL_CLIENTCERT:
            return Failure::clientCertificateMissing;
        case CURLE_SSL_CERTPROBLEM:  // the identity can't be used at all
            return Failure::clientCertificateRejected;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return failureOfAlert(alertIn(message), showedCertificate);
        default:
            return Failure::other;
    }
}
