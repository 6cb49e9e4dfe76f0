#include "platform/net/TlsFailure.h"

// What curl and OpenSSL say when a server refuses a client.
TEST(TlsFailure, TellsAMissingCertificateFromARejectedOne) {
    using Failure = HttpReadStream::Failure;
    struct Case {
        CURLcode code;
        const char *message;
        Failure without;
        Failure with;
    };
    const Case cases[] = {
        {CURLE_PEER_FAILED_VERIFICATION, "SSL certificate problem: self-signed certificate",
         Failure::untrustedServer, Failure::untrustedServer},
        {CURLE_RECV_ERROR,
         "OpenSSL SSL_read: error:0A00045C:SSL routines::tlsv13 alert certificate required, errno "
         "0",
         Failure::clientCertificateMissing, Failure::clientCertificateMissing},
        {CURLE_SSL_CLIENTCERT, "", Failure::clientCertificateMissing,
         Failure::clientCertificateMissing},
        {CURLE_SSL_CONNECT_ERROR, "error:0A000410:SSL routines::sslv3 alert handshake failure",
         Failure::clientCertificateMissing, Failure::other},
        {CURLE_RECV_ERROR,
         "OpenSSL SSL_read: error:0A000418:SSL routines::tlsv1 alert unknown ca, errno 0",
         Failure::clientCertificateMissing, Failure::clientCertificateRejected},
        {CURLE_SSL_CERTPROBLEM, "could not load PEM client certificate",
         Failure::clientCertificateRejected, Failure::clientCertificateRejected},
        {CURLE_SSL_CONNECT_ERROR, "error:0A00010B:SSL routines::wrong version number",
         Failure::other, Failure::other},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_EQ(tlsFailure(c.code, c.message, false), c.without);
        EXPECT_EQ(tlsFailure(c.code, c.message, true), c.with);
    }
}
