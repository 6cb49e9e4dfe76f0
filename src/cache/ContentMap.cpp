#include "cache/ContentMap.h"

#include <atomic>
#include <limits>

namespace {

quint64 freshVersion() {
    static std::atomic<quint64> last{0};
    return ++last;
}

// Blocks are numbered by 32 bits.
qint64 blocksOf(qint64 filesize) {
    if (filesize <= 0)
        return 0;
    const qint64 blocks = (filesize - 1) / ContentMap::kBlockSize + 1;
    return std::min<qint64>(blocks, std::numeric_limits<qint32>::max());
}

}  // namespace

ContentMap::ContentMap(const QString &filename, qint64 filesize, const FileIdentifier &identifier)
    : filename(filename),
      filesize(filesize),
      identifier(identifier),
      blockCount(blocksOf(filesize)),
      serial(freshVersion()) {}

void ContentMap::set(qint32 index, qint32 slot, qint32 bytes) {
    if (exist(index))
        blocks.insert(index, {slot, bytes});
}

bool ContentMap::erase(qint32 index) {
    blocks.remove(index);
    return blocks.isEmpty();
}

qint32 ContentMap::get(qint32 index) const {
    return blocks.value(index).slot;
}

qint32 ContentMap::size(qint32 index) const {
    return blocks.value(index).bytes;
}

void ContentMap::renewVersion() {
    serial = freshVersion();
    lastModified = {};
    etag.clear();
}
