#include "common/Error.h"

#include <utility>

bool Error::isPosix() const {
    return domain == kPosixDomain;
}

Error Error::errorWithPOSIXCode(int code) {
    return errorWithPOSIXCode(code, {});
}

Error Error::errorWithPOSIXCode(int code, const QVariantMap &userInfo) {
    return {kPosixDomain, code, userInfo};
}

void setError(ErrorOut out, Error error) {
    if (out)
        *out = std::move(error);
}
