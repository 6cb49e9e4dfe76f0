#pragma once

#include <functional>
#include <optional>
#include <source_location>
#include <type_traits>
#include <utility>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include "common/Error.h"
#include "platform/ui/UserInterface.h"

// Stateless operations shared by every room; any thread may call them at any time.
namespace VDCommonUtils {

// Errors.

// Logs the error's "OUTPUT" text under the caller's name; an error without one isn't logged.
void outputLog(const std::optional<Error> &error,
               const std::source_location &location = std::source_location::current());

// Values.

bool isSpecialFolder(const QString &folderType);
// The text behind the last "/"; null where there is none.
QString perseUserName(const QString &path);
// Compare text forms (flags as "1" and "0") and flags; an unset value counts as "" and false.
bool isEqualString(const QVariant &value, const QVariant &other);
bool isEqualNumberBool(const QVariant &value, const QVariant &other);
bool isNilOrEmpty(const QString &text);
bool containValueToStringInArray(const QStringList &array, const QString &value);
// The first value whose key equals the given one in any case; invalid where there is none.
QVariant getObjectFromDictionaryIgnoreCase(const QVariantMap &dictionary, const QString &getKey);
// Whether a version of "."-separated numbers lies from `from` up to `end`, either of which may be
// empty, and in which "x" matches any number.
bool versionCheck(const QString &version, const QString &from, const QString &end);
QString htmlEscape(const QString &text);

// Paths: plain text, "/" between components.

bool isUrlFull(const QString &text);
// "/" for an item of the root, and for the root itself; "" for a single relative component.
QString getParentName(const QString &path);
// "/" for the root itself.
QString lastPathComponent(const QString &path);
// Whether the path is srcPath or lies below it. Give both without a trailing "/".
bool isEqualPathOrSubPath(const QString &path, const QString &srcPath);
bool isSubPath(const QString &path, const QString &srcPath);
// The first limitComponents components, each behind a "/"; a path of no more is returned as it is.
QString partPath(const QString &path, int limitComponents);
// The URL with the path's components added, percent-encoded: toEncoded() of the result decodes to
// exactly the path's characters. A trailing "/" of the URL goes, and with an empty path the bare
// URL comes back.
QUrl urlAppendPath(const QUrl &url, const QString &path);

// Dates. Results are UTC; an invalid date is written as null, unreadable text read as an invalid
// date.

// "2024-01-02T03:04:05Z", always in UTC.
QString dateStringFromDate(const QDateTime &date);
QDateTime parseDate(const QString &text);
// "Tue, 02 Jan 2024 03:04:05 +0000". Reading takes "GMT" for the zone as well.
QString lastmodifiedDateStringFromDate(const QDateTime &date);
QDateTime parseLastmodifiedDate(const QString &text);
// Reads "2024-01-02 03:04:05 +0900".
QDateTime dateWithString(const QString &text);
// The HTTP form to "2024/01/02 03:04", local.
QString convertLastmodifiedDate(const QString &text);
// "2024/01/02 03:04:05", local; "" for an invalid date.
QString getStringForShow(const QDateTime &date);
// The local day of a date: "2024/01/02 00:00:00", and as a date at local midnight.
QString getTodayZeroTimeString(const QDateTime &date);
QDateTime getTodayZeroTime(const QDateTime &date);

// Validators.

// Whether the pattern (ICU) matches the whole text and the text is ASCII.
bool matcher(const QString &text, const QString &pattern);
bool checkAllHalfLetter(const QString &text);
bool isIPv4(const QString &text);
bool isIPv6(const QString &text);
bool isHostName(const QString &text);
bool isDomainName(const QString &text);
// These two accept the empty text.
bool isServer(const QString &text);
bool checkEMail(const QString &text);
// Whether Windows would refuse the path's last component. symbolError, which may be null, tells a
// forbidden character (true) from a blank or "." at the end (false).
bool invalidFilenameForWindows(const QString &path, bool *symbolError);
bool invalidFilenameForWindows(const QString &path);
// The blanks of Unicode and the tab, without the ideographic space.
QString harfSpaceCharacterSet();

// File lists. The results hold decomposed names (NFD), once each, in first-seen order.

QStringList margeArrayFileList(const QStringList &first, const QStringList &second);
void marge(QStringList &array, const QString &name);

// Files and passwords.

// 32 lower-case hexadecimal digits; null for a file that can't be read.
QString getMD5FromLocalFile(const QString &path);
// Null on failure. See AdditionCrypto.h.
QByteArray encryptoPassword(const QString &password);
QString decryptoPassword(const QByteArray &data);

// The main thread. The first two block the caller until the main thread has served it, so the main
// thread must never wait for such a caller. On the main thread itself they run at once.

// The index of the chosen button; 0 once the main thread has ended.
int showAlert(const Alert &alert);
// Runs the function there and returns whether it ran; it doesn't once the main thread has ended.
bool runOnMainThread(const std::function<void()> &function);
// Leaves the function to the main thread without waiting for it; dropped once that has ended. On
// the main thread it runs at once.
void postToMainThread(std::function<void()> function);

// Runs the function on the main thread and returns its result, or a default one where there is no
// main thread any more.
template <typename Function>
auto execMainThread(Function &&function) {
    using Result = std::invoke_result_t<Function &>;
    if constexpr (std::is_void_v<Result>) {
        runOnMainThread([&] { function(); });
    } else {
        std::optional<Result> result;
        runOnMainThread([&] { result.emplace(function()); });
        return result ? std::move(*result) : Result{};
    }
}

}  // namespace VDCommonUtils
