#pragma once

#include <optional>

#include <QString>

// Local copies that hold bytes the server doesn't have yet. The mark is a mode bit of the copy
// itself, so it is there after a crash, moves along with a rename and goes with the file.
namespace UnsentFiles {

void mark(int descriptor);
void mark(const QString &localPath);
void clearMark(const QString &localPath);
bool isMarked(const QString &localPath);

// Moves the copy into the user's home under its name, or under a free one like it where that is
// taken: nothing there is ever replaced. A hidden name goes to a folder of the home, since programs
// take such a file in the home itself for their configuration. The mark goes. Where the copy lies
// now; nothing, with the copy where it was, on failure.
std::optional<QString> saveAtHome(const QString &localPath, const QString &name);

}  // namespace UnsentFiles
