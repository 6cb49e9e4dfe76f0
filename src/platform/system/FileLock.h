#pragma once

#include <QString>

class QDeadlineTimer;

// Keeps other processes from what the file of that name stands for. The system drops it with the
// process, however that ends. The file stays unless removeFile() takes it away.
class FileLock {
  public:
    explicit FileLock(const QString &path) : path(path) {}
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    // Waits up to so many milliseconds for another holder. 0, or the errno why it isn't held: EBUSY
    // where the other one still holds it.
    int take(int waitMs);
    // Gives a held lock up and deletes its file; who waits for it makes a new one.
    void removeFile();

  private:
    int takeOpened(const QDeadlineTimer &limit);
    bool isFileOfThatName() const;
    void close();

    const QString path;
    int descriptor = -1;
};
