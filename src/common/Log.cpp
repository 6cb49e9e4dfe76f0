#include "common/Log.h"

#include <cerrno>
#include <string_view>
#include <unistd.h>

#include <QRegularExpression>

namespace {

// "bool A::b(const QString&)" to "A::b".
std::string_view operationName(std::string_view signature) {
    const std::string_view declaration = signature.substr(0, signature.find('('));
    const std::string_view name = declaration.substr(declaration.rfind(' ') + 1);
    return name.empty() ? signature : name;
}

std::string_view fileName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

QByteArray bytes(std::string_view text) {
    return QByteArray(text.data(), qsizetype(text.size()));
}

// What a server or a file name brings along must not look like another line.
QByteArray oneLine(QString text) {
    static const QRegularExpression control(QStringLiteral("\\p{Cc}"));
    text.replace(u'\n', u' ');  // texts of this program have several lines too
    return text.replace(control, QStringLiteral("?")).toUtf8();
}

}  // namespace

void VDLog(const QString &text, const std::source_location &location) {
    const QByteArray line = bytes(operationName(location.function_name())) + ' ' +
                            bytes(fileName(location.file_name())) + ':' +
                            QByteArray::number(location.line()) + ' ' + oneLine(text) + '\n';
    const int savedErrno = errno;
    while (::write(STDERR_FILENO, line.constData(), size_t(line.size())) < 0 && errno == EINTR) {
    }
    errno = savedErrno;
}
