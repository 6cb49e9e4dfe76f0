#pragma once

#include <QString>

#include "cache/AccessControler.h"

// One call's place at the head of a path's queue, given back at the end of the scope unless the
// call leaves it held. A held ticket lapses by the queue's own time limit.
class Ticket {
  public:
    Ticket(AccessControler &queue, const QString &path);
    ~Ticket();
    Ticket(const Ticket &) = delete;
    Ticket &operator=(const Ticket &) = delete;

    void giveBack();
    void leaveHeld() { held = false; }

  private:
    AccessControler &queue;
    const QString path;
    const void *const token;
    bool held = true;
};
