#include "connection/VDDataSource.h"

QStringList VDDataSource::connectNames() const {
    const std::lock_guard lock(mutex);
    return names;
}

void VDDataSource::setConnectNames(const QStringList &connectNames) {
    const std::lock_guard lock(mutex);
    names = connectNames;
}

void VDDataSource::addName(const QString &name) {
    const std::lock_guard lock(mutex);
    names.append(name);
}

void VDDataSource::removeConnectNameAtIndex(int index) {
    const std::lock_guard lock(mutex);
    if (index >= 0 && index < names.size())
        names.removeAt(index);
}

void VDDataSource::updateName(const QString &name, int atIndex) {
    const std::lock_guard lock(mutex);
    if (atIndex >= 0 && atIndex < names.size())
        names[atIndex] = name;
}

int VDDataSource::numberOfRowsInTableView() const {
    const std::lock_guard lock(mutex);
    return static_cast<int>(names.size());
}

QString VDDataSource::tableView(const QString & /*objectValueForTableColumn*/, int row) const {
    const std::lock_guard lock(mutex);
    return names.value(row);
}
