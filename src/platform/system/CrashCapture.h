#pragma once

// Writes "CRASH:" and "Stack Treace:" lines to standard error when the process dies of an exception
// that nobody caught or of a fatal signal, and lets it die.
void installUncaughtExceptionHandler();
