#include <algorithm>

#include "common/Log.h"
#include "common/NumberText.h"
#include "common/VDCommonUtils.h"

namespace VDCommonUtils {

namespace {

QString textForm(const QVariant &value) {
    const bool isFlag = value.typeId() == QMetaType::Bool;
    return isFlag ? QString::number(value.toInt()) : value.toString();
}

const QString kAnyNumber = QStringLiteral("x");

bool reachesLowerBound(const QStringList &version, const QStringList &bound) {
    for (qsizetype i = 0; i < bound.size(); ++i) {
        if (i >= version.size())
            return false;
        if (bound[i] == kAnyNumber)
            return true;
        const int number = intValue(version[i]);
        const int limit = intValue(bound[i]);
        if (number != limit)
            return number > limit;
    }
    return true;
}

bool staysWithinUpperBound(const QStringList &version, const QStringList &bound) {
    for (qsizetype i = 0; i < version.size(); ++i) {
        if (i >= bound.size())
            return false;
        if (bound[i] == kAnyNumber)
            return true;
        const int number = intValue(version[i]);
        const int limit = intValue(bound[i]);
        if (number != limit)
            return number < limit;
    }
    return true;
}

QStringList versionParts(const QString &version) {
    return version.isEmpty() ? QStringList() : version.split(u'.');
}

}  // namespace

void outputLog(const std::optional<Error> &error, const std::source_location &location) {
    if (!error)
        return;
    const QVariant output = error->userInfo.value(QStringLiteral("OUTPUT"));
    if (output.isValid())
        VDLog(output.toString(), location);
}

bool isSpecialFolder(const QString &folderType) {
    return folderType == u"primary" || folderType == u"root";
}

QString perseUserName(const QString &path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash < 0 ? QString() : path.mid(slash + 1);
}

bool isEqualString(const QVariant &value, const QVariant &other) {
    return textForm(value) == textForm(other);
}

bool isEqualNumberBool(const QVariant &value, const QVariant &other) {
    return value.toBool() == other.toBool();
}

bool isNilOrEmpty(const QString &text) {
    return text.isEmpty();
}

bool containValueToStringInArray(const QStringList &array, const QString &value) {
    return array.contains(value);
}

QVariant getObjectFromDictionaryIgnoreCase(const QVariantMap &dictionary, const QString &getKey) {
    const auto found = std::find_if(
        dictionary.keyBegin(), dictionary.keyEnd(),
        [&](const QString &key) { return key.compare(getKey, Qt::CaseInsensitive) == 0; });
    return found == dictionary.keyEnd() ? QVariant() : dictionary.value(*found);
}

bool versionCheck(const QString &version, const QString &from, const QString &end) {
    const QStringList parts = versionParts(version);
    return reachesLowerBound(parts, versionParts(from)) &&
           (end.isEmpty() || staysWithinUpperBound(parts, versionParts(end)));
}

QString htmlEscape(const QString &text) {
    QString escaped = text;
    return escaped.replace(u'&', QStringLiteral("&amp;"))
        .replace(u'<', QStringLiteral("&lt;"))
        .replace(u'>', QStringLiteral("&gt;"))
        .replace(u'"', QStringLiteral("&quot;"))
        .replace(u'\'', QStringLiteral("&#039;"));
}

}  // namespace VDCommonUtils
