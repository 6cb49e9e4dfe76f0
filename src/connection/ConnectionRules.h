#pragma once

#include <QString>

struct VDConnectionInfo;

// What holds for a saved connection, whoever changes it.
namespace ConnectionRules {

// The settings key of the list of names.
inline const QString kConnectNames = QStringLiteral("connect_names");
// The name of a row that isn't saved yet.
inline const QString kUnnamed = QStringLiteral("new connection");

// The key of the message why a connection can't have the name, null when it can.
const char *nameProblem(const QString &name);
// Names that differ in their canonical form only are one to people.
bool isSameName(const QString &name, const QString &other);
// Where the connection is mounted, variables unreplaced.
QString placeOf(const VDConnectionInfo &record);
// Whether the mount point of one is the other's, or lies under it.
bool doPlacesClash(const VDConnectionInfo &record, const VDConnectionInfo &other);

}  // namespace ConnectionRules
