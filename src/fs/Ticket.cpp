#include "fs/Ticket.h"

#include <atomic>

namespace {

// Tokens are compared by identity, and an address could come again while an old ticket is still
// held: so they are numbers that never repeat.
const void *freshToken() {
    static std::atomic<uintptr_t> last{0};
    return reinterpret_cast<const void *>(++last);
}

}  // namespace

Ticket::Ticket(AccessControler &queue, const QString &path)
    : queue(queue), path(path), token(freshToken()) {
    queue.getLock(path, token);
}

Ticket::~Ticket() {
    giveBack();
}

void Ticket::giveBack() {
    if (!held)
        return;
    held = false;
    queue.unLock(path, token);
}
