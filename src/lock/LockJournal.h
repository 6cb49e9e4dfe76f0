#pragma once

#include <memory>
#include <vector>

#include <QList>
#include <QMap>
#include <QString>

#include "webdav/RequestDialect.h"

class FileLock;
class QFile;

// The held locks of a mount, on disk, so that the next process can release what this one leaves
// behind when it is killed. Each process has a file of its own, only while it holds locks, and
// keeps a file lock on it: what is found without one was left by a dead process. A journal that
// can't be written is done without; the server's time-out then ends the locks.
class LockJournal {
  public:
    // The folder is made when needed, for the user alone; with a null path nothing is kept.
    explicit LockJournal(const QString &folder);
    ~LockJournal();
    LockJournal(const LockJournal &) = delete;
    LockJournal &operator=(const LockJournal &) = delete;

    // The lock that is held under a name now, in place of any earlier one.
    void put(const QString &name, const HeldLock &lock);
    void remove(const QString &name);

    // What dead processes left, until dropped. Until then it is kept from other processes.
    QList<HeldLock> left();
    void dropLeft();

  private:
    bool open();
    void close();
    void write(char sign, const HeldLock &lock);

    const QString folder;
    QMap<QString, HeldLock> held;
    std::unique_ptr<FileLock> fileLock;
    std::unique_ptr<QFile> file;
    std::vector<std::unique_ptr<FileLock>> leftFiles;
};
