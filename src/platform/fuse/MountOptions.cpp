#include "platform/fuse/MountOptions.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "common/Log.h"
#include "common/Text.h"

namespace {

struct Timeout {
    QLatin1String name;
    double MountOptions::*seconds;
};

const Timeout kTimeouts[] = {
    {QLatin1String("entry_timeout"), &MountOptions::entryTimeout},
    {QLatin1String("negative_timeout"), &MountOptions::negativeTimeout},
    {QLatin1String("attr_timeout"), &MountOptions::attrTimeout},
    {QLatin1String("ac_attr_timeout"), &MountOptions::acAttrTimeout},
};

// Understood, and without effect on Linux. Read-ahead and the page cache stay on: mmap needs the
// one and speed the other, and neither outlives a version of the file. The volume's name and icon
// have no place in a Linux mount, and the type is told by name, not by number.
const QLatin1String kSetAside[] = {
    QLatin1String("noreadahead"),    QLatin1String("noubc"),   QLatin1String("negative_vncache"),
    QLatin1String("daemon_timeout"), QLatin1String("volname"), QLatin1String("fssubtype"),
    QLatin1String("volicon"),
};

bool setTimeout(MountOptions &options, QStringView name, QStringView value) {
    const auto *timeout = std::find_if(std::begin(kTimeouts), std::end(kTimeouts),
                                       [&](const Timeout &t) { return t.name == name; });
    if (timeout == std::end(kTimeouts))
        return false;
    bool isNumber = false;
    const double seconds = value.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(seconds) || seconds < 0)
        return false;
    options.*timeout->seconds = seconds;
    return true;
}

bool setFsname(MountOptions &options, QStringView name, QStringView value) {
    if (name != QLatin1String("fsname") || value.isEmpty())
        return false;
    options.fsname = value.toString();
    return true;
}

bool isSetAside(QStringView name) {
    return std::find(std::begin(kSetAside), std::end(kSetAside), name) != std::end(kSetAside);
}

}  // namespace

MountOptions MountOptions::fromList(const QStringList &list) {
    MountOptions options;
    for (const QString &option : list) {
        const qsizetype equals = option.indexOf(u'=');
        const QStringView name = QStringView(option).left(equals < 0 ? option.size() : equals);
        const QStringView value = equals < 0 ? QStringView() : QStringView(option).mid(equals + 1);
        if (!setTimeout(options, name, value) && !setFsname(options, name, value) &&
            !isSetAside(name))
            VDLog(localizedText("GMUserFileSystem_UnknownOption", option));
    }
    return options;
}
