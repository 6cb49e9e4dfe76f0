#pragma once

#include <mutex>

#include <QString>
#include <QStringList>

// The names in the table of connections, in its order. Any thread.
class VDDataSource {
  public:
    QStringList connectNames() const;
    void setConnectNames(const QStringList &names);

    void addName(const QString &name);
    // An index out of range is ignored.
    void removeConnectNameAtIndex(int index);
    void updateName(const QString &name, int atIndex);

    int numberOfRowsInTableView() const;
    // The name in the row, whatever the column; null out of range.
    QString tableView(const QString &objectValueForTableColumn, int row) const;

  private:
    mutable std::mutex mutex;
    QStringList names;
};
