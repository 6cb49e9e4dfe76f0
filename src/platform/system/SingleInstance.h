#pragma once

#include <optional>

#include <QString>

#include "platform/system/FileLock.h"

// One running instance a user. Whoever holds the lock of the folder below is it, until it ends,
// however it ends; the socket beside the lock is where the others find it.
//
// Both lie in the home directory and not in a folder of the login session: two logins of one user
// share the home, and with it the local store that only one instance may own.
class SingleInstance {
  public:
    static QString folder();
    // Makes the folder, or makes it this user's alone; false with errno, EPERM for one of somebody
    // else's.
    static bool makeFolder();
    static QString socketPath();

    enum class Outcome { Taken, HeldByAnother, Failed };
    // Makes the folder and tries for the lock without waiting. On failure errno tells why.
    Outcome take();
    void release();

  private:
    std::optional<FileLock> lock;
};
