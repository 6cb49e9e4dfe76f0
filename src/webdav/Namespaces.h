#pragma once

#include <QString>

inline const QString kDavNamespaceURI = QStringLiteral("DAV:");
inline const QString VelmoraNamespaceURI = QStringLiteral("urn:velmora:properties");
inline const QString SlideNamespaceURI = QStringLiteral("urn:velmora:slide");
