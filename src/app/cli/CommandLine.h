#pragma once

#include <QStringList>

class Console;

// The terminal program: runs one command line, the program's own name in front, and returns the
// process's exit code: 0 done, 1 failed, 2 not understood.
int runCommandLine(const QStringList &arguments, Console &console);
