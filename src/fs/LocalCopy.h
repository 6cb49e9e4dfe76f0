#pragma once

#include <QString>

// The local copy of a file that is being written. Errors are errno values, 0 is success.
namespace LocalCopy {

// A descriptor for reading and writing; -1 with errno set on failure.
int openForWriting(const QString &localPath);
// An empty file and the folders on the way to it, where they are missing.
int make(const QString &localPath);
// The folders on the way to it. A file in their place is the copy of one that is no more; it goes,
// but not with bytes that the server doesn't have.
void makeFolderOf(const QString &localPath);
int writeAll(int node, const char *bytes, qint64 count, qint64 offset);

// The path to read an open copy by: its own, or one by its descriptor where somebody took the copy
// away under its writer. What was written is still in the open file.
QString readablePath(int node, const QString &localPath);
// Writes such a file at its path again.
int restore(int node, const QString &localPath);

}  // namespace LocalCopy
