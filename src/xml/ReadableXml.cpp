#include "xml/ReadableXml.h"

#include <string_view>
#include <utility>

#include <QRegularExpression>
#include <QString>

namespace {

// What lies outside of elements, or holds text that must stay as it is.
constexpr std::pair<std::string_view, std::string_view> kSkipped[] = {
    {"<!--", "-->"},
    {"<![CDATA[", "]]>"},
    {"<?", "?>"},
};

bool isUtf8(const QByteArray &xml) {
    // UTF-16 and UTF-32 begin with a mark or have zeros around "<".
    const QByteArray start = xml.left(4);
    if (start.contains('\0') || start.startsWith("\xfe\xff") || start.startsWith("\xff\xfe"))
        return false;
    static const QRegularExpression declaration(
        QStringLiteral("^[^<]*<\\?xml[^>]*\\sencoding\\s*=\\s*[\"']([^\"']*)"));
    const auto declared = declaration.match(QString::fromLatin1(xml.left(256)));
    return !declared.hasMatch() ||
           declared.capturedView(1).compare(QLatin1String("utf-8"), Qt::CaseInsensitive) == 0;
}

bool isNameEnd(char c) {
    switch (c) {
        case ' ':
        case '\t':
        case '\r':
        case '\n':
        case '<':
        case '/':
        case '>':
        case '=':
        case '\'':
        case '"':
            return true;
        default:
            return false;
    }
}

// Goes from tag to tag and drops all but the last prefix of the names in them.
class PrefixDropper {
  public:
    explicit PrefixDropper(const QByteArray &document)
        : document(document), xml(document.constData(), size_t(document.size())) {}

    QByteArray dropped() {
        while ((at = xml.find('<', at)) < xml.size()) {
            // A document type has a syntax of its own.
            if (xml.substr(at).starts_with("<!DOCTYPE"))
                break;
            if (!skipWhole())
                readTag();
        }
        return copied == 0 ? document : result + document.sliced(qsizetype(copied));
    }

  private:
    void skipPast(std::string_view end, size_t from) {
        const size_t found = xml.find(end, from);
        at = found == xml.npos ? xml.size() : found + end.size();
    }

    bool skipWhole() {
        for (const auto &[begin, end] : kSkipped) {
            if (!xml.substr(at).starts_with(begin))
                continue;
            skipPast(end, at + begin.size());
            return true;
        }
        return false;
    }

    void readTag() {
        while (at < xml.size() && xml[at] != '>') {
            if (xml[at] == '"' || xml[at] == '\'')
                skipPast(xml.substr(at, 1), at + 1);
            else if (isNameEnd(xml[at]))
                ++at;
            else
                readName();
        }
    }

    void readName() {
        const size_t begin = at;
        size_t lastPrefix = begin;  // begins there
        size_t local = begin;
        for (; at < xml.size() && !isNameEnd(xml[at]); ++at) {
            if (xml[at] == ':')
                lastPrefix = std::exchange(local, at + 1);
        }
        if (lastPrefix == begin)
            return;
        result += document.sliced(qsizetype(copied), qsizetype(begin - copied));
        copied = lastPrefix;
    }

    const QByteArray document;
    const std::string_view xml;
    size_t at = 0;
    QByteArray result;
    size_t copied = 0;  // as far as result reaches
};

}  // namespace

QByteArray readableXml(const QByteArray &xml) {
    if (!isUtf8(xml))
        return xml;
    if (xml.isValidUtf8())
        return PrefixDropper(xml).dropped();
    return PrefixDropper(QString::fromUtf8(xml).toUtf8()).dropped();
}
