#pragma once

#include <curl/curl.h>

#include "platform/net/HttpReadStream.h"

// What a curl failure means for the trust between client and server. The message is curl's, which
// names the alert of the other side.
HttpReadStream::Failure tlsFailure(CURLcode code, const char *message, bool showedCertificate);
