#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/uio.h>
#include <unordered_map>
#include <unordered_set>

// The kernel's numbers of open items. By such a number alone it asks for the attributes of an open
// item, fstat(2), and changes its mode and dates. libfuse looks up the path of the number, which a
// removed item has no more. So before libfuse sees the request, it is given the item's handle.
class OpenNodes {
  public:
    // Looks at a request that is about to be served, and may change it.
    void prepare(void *request, size_t size);
    // The request being served gets this handle.
    void open(uint64_t handle);
    // Looks at what was answered to it.
    void noteAnswer(const iovec *parts, int count);
    // The handle's item has no path any more.
    void orphan(uint64_t handle) { orphans.insert(handle); }
    void forget(uint64_t handle);

  private:
    // 0, which is no handle's number, where no handle of an orphan has this node.
    uint64_t orphanOf(uint64_t node) const;

    // Of the request being served.
    uint32_t operation = 0;
    uint64_t node = 0;

    std::unordered_map<uint64_t, uint64_t> nodes;  // by handle
    std::unordered_set<uint64_t> orphans;
};
