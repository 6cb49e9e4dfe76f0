#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

#include "cache/FileIdentifier.h"

// The table of one cached version of a file: which of its blocks lie in which slots. Takes no lock
// of its own.
class ContentMap {
  public:
    static constexpr qint64 kBlockSize = 65536;

    ContentMap(const QString &filename, qint64 filesize, const FileIdentifier &identifier);

    const QString filename;
    const qint64 filesize;
    FileIdentifier identifier;
    // What the server told with the first bytes of this version; every later answer must agree.
    QDateTime lastModified;
    QString etag;

    void set(qint32 index, qint32 slot, qint32 bytes);
    // True when no cached block is left.
    bool erase(qint32 index);
    // The slot, -1 while the block isn't cached.
    qint32 get(qint32 index) const;
    // The bytes held, -1 while the block isn't cached.
    qint32 size(qint32 index) const;
    // Whether the file has such a block.
    bool exist(qint64 index) const { return index >= 0 && index < blockCount; }
    void setMD5(const QString &md5) { identifier.md5 = md5; }
    // How many blocks are cached.
    qint32 count() const { return static_cast<qint32>(blocks.size()); }
    QList<qint32> cachedBlocks() const { return blocks.keys(); }

    // Unique in the process. What was written under an earlier one is out of this map's reach.
    quint64 version() const { return serial; }
    void renewVersion();

  private:
    struct Block {
        qint32 slot = -1;
        qint32 bytes = -1;
    };

    const qint64 blockCount;
    quint64 serial;
    QHash<qint32, Block> blocks;  // only what is cached: a server may announce any size
};
