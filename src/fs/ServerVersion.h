#pragma once

#include <QtGlobal>

struct FileIdentifier;
struct WebDavResource;

// How often a read starts over because the server's file changed under it.
inline constexpr int kVersionAttempts = 3;
// A failure that came sooner than this is worth a second try; a time-out isn't waited for twice.
inline constexpr qint64 kQuickFailureMs = 5000;

// What tells one version of a server's file from another.
FileIdentifier identifierOf(const WebDavResource &resource);
