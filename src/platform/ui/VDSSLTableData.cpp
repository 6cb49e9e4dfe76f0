#include "platform/ui/VDSSLTableData.h"

QString VDSSLTableData::tableView(const QString &column, int row) const {
    return (column == QLatin1String("issr") ? certIssurs : certLavels).value(row);
}
