#include "platform/fuse/MountTable.h"

#include <algorithm>

#include <QFile>
#include <QList>

namespace {

// The kernel writes blanks and backslashes of a path as three octal digits.
QByteArray unescaped(const QByteArray &field) {
    QByteArray text;
    for (qsizetype i = 0; i < field.size(); ++i) {
        bool isOctal = false;
        const int byte = field[i] == '\\' ? field.mid(i + 1, 3).toInt(&isOctal, 8) : 0;
        text += isOctal ? char(byte) : field[i];
        i += isOctal ? 3 : 0;
    }
    return text;
}

// "36 35 98:0 / /mnt rw,noatime master:1 - ext3 /dev/root rw": a varying number of fields up to
// the "-", and three after it.
std::optional<MountEntry> parsed(const QByteArray &line) {
    constexpr qsizetype kDevice = 2;
    constexpr qsizetype kMountPoint = 4;
    const QList<QByteArray> fields = line.trimmed().split(' ');
    const qsizetype dash = fields.indexOf("-");
    if (dash <= kMountPoint || fields.size() < dash + 4)
        return std::nullopt;
    return MountEntry{fields[kDevice], unescaped(fields[kMountPoint]), fields[dash + 1],
                      fields[dash + 3]};
}

QList<MountEntry> mountTable() {
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return {};
    QList<MountEntry> entries;
    for (const QByteArray &line : table.readAll().split('\n')) {
        if (const std::optional<MountEntry> entry = parsed(line))
            entries.append(*entry);
    }
    return entries;
}

}  // namespace

bool MountEntry::hasOption(const QByteArray &option) const {
    return options.split(',').contains(option);
}

bool isMounted(const QByteArray &device) {
    const QList<MountEntry> table = mountTable();
    return std::any_of(table.begin(), table.end(),
                       [&](const MountEntry &entry) { return entry.device == device; });
}

std::optional<MountEntry> mountEntryAt(const QByteArray &mountPoint) {
    const QList<MountEntry> table = mountTable();
    const auto last = std::find_if(table.rbegin(), table.rend(), [&](const MountEntry &entry) {
        return entry.mountPoint == mountPoint;
    });
    return last == table.rend() ? std::nullopt : std::optional(*last);
}
