#include "platform/fuse/OpenNodes.h"

#include <linux/fuse.h>

namespace {

// What follows the header of a request, or null for one that is too short.
template <typename Body>
Body *bodyOf(void *request, size_t size) {
    if (size < sizeof(fuse_in_header) + sizeof(Body))
        return nullptr;
    return reinterpret_cast<Body *>(static_cast<fuse_in_header *>(request) + 1);
}

}  // namespace

void OpenNodes::prepare(void *request, size_t size) {
    if (size < sizeof(fuse_in_header))
        return;
    const auto *header = static_cast<const fuse_in_header *>(request);
    operation = header->opcode;
    node = header->nodeid;
    if (operation != FUSE_GETATTR && operation != FUSE_SETATTR)
        return;
    const uint64_t handle = orphanOf(node);
    if (handle == 0)
        return;
    if (operation == FUSE_GETATTR) {
        if (auto *body = bodyOf<fuse_getattr_in>(request, size)) {
            body->getattr_flags |= FUSE_GETATTR_FH;
            body->fh = handle;
        }
        return;
    }
    auto *body = bodyOf<fuse_setattr_in>(request, size);
    if (body && !(body->valid & FATTR_FH)) {
        body->valid |= FATTR_FH;
        body->fh = handle;
    }
}

void OpenNodes::open(uint64_t handle) {
    nodes[handle] = node;
}

// A create is asked of the folder's node, and its answer tells that of the file.
void OpenNodes::noteAnswer(const iovec *parts, int count) {
    if (count < 2 || operation != FUSE_CREATE)
        return;
    const char *body = static_cast<const char *>(parts[1].iov_base);
    const auto *entry = reinterpret_cast<const fuse_entry_out *>(body);
    const auto *opened = reinterpret_cast<const fuse_open_out *>(body + sizeof(fuse_entry_out));
    nodes[opened->fh] = entry->nodeid;
}

void OpenNodes::forget(uint64_t handle) {
    nodes.erase(handle);
    orphans.erase(handle);
}

uint64_t OpenNodes::orphanOf(uint64_t wanted) const {
    for (const uint64_t handle : orphans) {
        const auto found = nodes.find(handle);
        if (found != nodes.end() && found->second == wanted)
            return handle;
    }
    return 0;
}
