#pragma once

#include <QString>

// Keeps other processes from what the file of that name stands for. The system drops it with the
// process, however that ends. The file stays: without it two could hold locks on two files of one
// name.
class FileLock {
  public:
    explicit FileLock(const QString &path) : path(path) {}
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    // Waits up to so many milliseconds for another holder. 0, or the errno why it isn't held: EBUSY
    // where the other one still holds it.
    int take(int waitMs);

  private:
    const QString path;
    int descriptor = -1;
};
