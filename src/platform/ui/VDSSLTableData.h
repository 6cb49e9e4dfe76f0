#pragma once

#include <QStringList>

// The rows of the chooser of client identities.
struct VDSSLTableData {
    QStringList certLavels;
    QStringList certIssurs;

    int numberOfRowsInTableView() const { return int(certLavels.size()); }
    // The issuer for the column "issr", the label for any other.
    QString tableView(const QString &column, int row) const;
};
