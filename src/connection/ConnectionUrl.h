#pragma once

#include <QString>

// URLs as people type them.
namespace ConnectionUrl {

// Why a typed URL is not taken, as a key of a text; null when it is.
const char *problemOf(const QString &typed);
// The URL as a record keeps it: readable text, with percent escapes decoded once.
QString readableUrl(const QString &typed);
// A name for a connection to the URL: the last folder of its path, else its host.
QString nameFor(const QString &readable);

}  // namespace ConnectionUrl
