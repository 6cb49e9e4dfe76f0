#pragma once

#include <QByteArray>

// An answer with two things mended that would end its reading early. Bytes that aren't UTF-8 in a
// document of that encoding become U+FFFD, and of a name's several prefixes only the last stays.
// Text and attribute values keep every character; any other encoding comes back as it is.
QByteArray readableXml(const QByteArray &xml);
