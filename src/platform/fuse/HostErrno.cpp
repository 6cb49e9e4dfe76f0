#include "platform/fuse/HostErrno.h"

#include <algorithm>
#include <iterator>

namespace {

struct Mapping {
    int code;
    int posix;
};

// Codes of the server session.
constexpr Mapping kConnectErrors[] = {
    {0, ENETUNREACH},  // no connection
    {1, EACCES},       // not authorised
    {2, EINVAL},       // source and destination are the same
    {3, EBUSY},        // locked
    {4, ENOLCK},       // no lock to release
    {5, EBUSY},        // locked by someone else
    {6, ENOENT},       // not found
    {7, EACCES},       // forbidden
    {8, EEXIST},       // already exists
    {9, ENOENT},       // conflict: a folder on the way is missing
    {10, ENOSPC},      // out of space
    {11, EHOSTDOWN},   // server error
    {12, EHOSTDOWN},   // server unavailable
    {14, EHOSTDOWN},   // bad gateway
    {16, EINVAL},      // empty URL
    {17, EACCES},      // refused by a server extension
    {18, EINVAL},      // bad request
    {19, EOPNOTSUPP},  // method not allowed
    {20, EINVAL},      // unsupported media
    {22, ECANCELED},   // cancelled by the user
    {23, EFBIG},       // too large
};

constexpr int kLargestErrno = 4095;

int posixErrno(int code) {
    if (code == ENOSYS)
        return EOPNOTSUPP;
    return code > 0 && code <= kLargestErrno ? code : EIO;
}

}  // namespace

int hostErrno(const std::optional<Error> &error) {
    if (!error)
        return EIO;
    if (error->isPosix())
        return posixErrno(error->code);
    if (error->domain != kConnectErrorDomain)
        return EIO;
    const auto *found = std::find_if(std::begin(kConnectErrors), std::end(kConnectErrors),
                                     [&](const Mapping &m) { return m.code == error->code; });
    return found == std::end(kConnectErrors) ? EIO : found->posix;
}
