#pragma once

#include <memory>

#include <QStringList>

#include "cache/ExpiryCacheGeneric.h"

// The names in folders of the mount, by path.
class FileListCache : public ExpiryCacheGeneric {
  public:
    explicit FileListCache(const CacheTiming &timing = {});

    void insertFileList(const QString &path, const std::shared_ptr<QStringList> &value);
    std::shared_ptr<QStringList> getFileList(const QString &path);
    // Takes the cached listings of everything below with it.
    void removeFileList(const QString &path);
};
