#include "platform/ui/VDSSLChooserWindowController.h"

#include "platform/ui/VDSSLTableData.h"

VDSSLChooserWindowController::VDSSLChooserWindowController(const VDSSLTableData &data) {
    QList<QStringList> rows;
    for (int row = 0; row < data.numberOfRowsInTableView(); ++row) {
        QStringList cells;
        for (const QString &column : tableSelectCert.columnIds)
            cells += data.tableView(column, row);
        rows += cells;
    }
    tableSelectCert.setRows(rows);
    tableSelectCert.doubleClicked = [this](int) { putOK(); };
    btnOK.action = [this] { putOK(); };
    btnCancel.action = window.action = [this] { putCancel(); };
}
