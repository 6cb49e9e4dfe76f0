#pragma once

#include <optional>

#include "common/Error.h"

// The errno a program sees for a delegate's failure. Errors of other domains go by a table; no
// error at all is EIO. Never ENOSYS: to the kernel that means "never ask this again", for every
// file of the volume.
int hostErrno(const std::optional<Error> &error);
