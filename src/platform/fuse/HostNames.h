#pragma once

#include <optional>
#include <sys/types.h>

#include <QByteArray>
#include <QString>

// The longest name in bytes that Linux programs can handle.
inline constexpr qsizetype kLongestName = 255;

// A kernel path in composed form, whatever form the program typed. 0, EILSEQ for bytes that are
// not UTF-8, or ENAMETOOLONG.
int pathFromKernel(const char *kernelPath, QString *path);

// A delegate's name as the kernel gets it: composed, UTF-8. Nothing for a name that cannot be one
// component of a path: empty, ".", "..", with "/" or NUL, not valid Unicode, or too long.
std::optional<QByteArray> nameForKernel(const QString &name);

QString childPath(const QString &folder, const QString &name);

// An inode number that depends on the path alone, so that it is the same after a remount: git and
// tar remember inode numbers to tell a changed file.
ino_t inodeNumber(const QString &path);
