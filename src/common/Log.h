#pragma once

#include <source_location>

#include <QString>

// Writes one line to standard error: the calling operation, its file and line, then the text with
// "?" for control characters. A line is one write(), so lines of several threads don't mix. Never
// give it a secret.
void VDLog(const QString &text,
           const std::source_location &location = std::source_location::current());
